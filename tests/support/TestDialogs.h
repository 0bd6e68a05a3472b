#pragma once

#include "platform/ScriptedDialogs.h"

namespace tonmill::test {

// Scripted answers for tests: a prompt without a prepared answer fails the
// running test with the prompt's text.
class TestDialogs : public ScriptedDialogs {
protected:
    void onUnexpected(const QString &description) override;
};

} // namespace tonmill::test

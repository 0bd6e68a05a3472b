#pragma once

#include <QByteArray>
#include <QString>

namespace tonmill::test {

// The file's bytes; empty when it cannot be read.
QByteArray readBytes(const QString &path);
// Replaces the file's content; a failure fails the running test.
void writeBytes(const QString &path, const QByteArray &bytes);

} // namespace tonmill::test

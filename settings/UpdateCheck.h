#pragma once

#include <QString>
#include <QUrl>

#include <functional>
#include <optional>

namespace tonmill {

class ActivityLog;
class Dialogs;

// The publisher's version file (its whole body is the latest version's
// stamp) and download page. TONMILL_UPDATE_URL, when set, names another
// version file, for tests.
QUrl versionFileUrl();
QString downloadPageUrl();

// What fetching a small text file gave.
struct TextFetch {
    QString body;
    QString error; // why the whole body did not arrive; empty when it did

    bool ok() const { return error.isEmpty(); }
};

// Fetches a small text file and waits for it in a local event loop, so that
// the window goes on painting and its timers run meanwhile. It gives up after
// timeoutMs, and refuses a body longer than maxBytes as soon as it is seen,
// without reading the rest.
TextFetch fetchText(const QUrl &url, int timeoutMs = 15000, qint64 maxBytes = 1024);

// The version file's body as a stamp: a whole number that fits 16 bits,
// blanks and line ends around it allowed; nothing for anything else.
std::optional<qint16> versionFileStamp(const QString &body);

// The two ways of asking whether a newer version exists: at start-up, which
// reports to the activity log, and from the Setup dialog, which reports in
// message boxes. A newer version is offered for download; Yes opens the
// download page.
class UpdateCheck {
public:
    using Fetch = std::function<TextFetch()>;

    // fetch: how the version file is fetched; by default from versionFileUrl().
    UpdateCheck(ActivityLog &log, Dialogs &dialogs, Fetch fetch = {});

    void CheckForUpdatesAtStart();
    void CheckForUpdatesNow();

private:
    std::optional<qint16> remoteStamp();
    void offerDownload();

    ActivityLog &m_log;
    Dialogs &m_dialogs;
    Fetch m_fetch;
};

} // namespace tonmill

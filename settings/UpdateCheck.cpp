#include "settings/UpdateCheck.h"

#include "app/ActivityLog.h"
#include "platform/AppVersion.h"
#include "platform/Dialogs.h"

#include <QEventLoop>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QNetworkRequest>
#include <QTimer>

namespace tonmill {

namespace {

const QString kCrLf = QStringLiteral("\r\n");

} // namespace

QUrl versionFileUrl()
{
    const QString given = qEnvironmentVariable("TONMILL_UPDATE_URL");
    return QUrl(given.isEmpty() ? QStringLiteral("https://tonmill.example.org/version.txt") : given);
}

QString downloadPageUrl()
{
    return QStringLiteral("https://tonmill.example.org/download.html");
}

TextFetch fetchText(const QUrl &url, int timeoutMs, qint64 maxBytes)
{
    TextFetch fetch;
    QNetworkAccessManager network;
    QNetworkRequest request(url);
    request.setTransferTimeout(timeoutMs);
    QNetworkReply *reply = network.get(request);
    // Qt buffers no more than this, so a long body is never read whole.
    reply->setReadBufferSize(maxBytes + 1);
    QByteArray body;
    QString refusal;
    const auto refuse = [&](const QString &why) {
        if (refusal.isEmpty()) {
            refusal = why;
            reply->abort();
        }
    };
    const auto tooLong = [&] { return QStringLiteral("the answer is longer than %1 bytes").arg(maxBytes); };
    QObject::connect(reply, &QNetworkReply::metaDataChanged, reply, [&] {
        const QVariant length = reply->header(QNetworkRequest::ContentLengthHeader);
        if (length.isValid() && length.toLongLong() > maxBytes)
            refuse(tooLong());
    });
    QObject::connect(reply, &QNetworkReply::readyRead, reply, [&] {
        body += reply->readAll();
        if (body.size() > maxBytes)
            refuse(tooLong());
    });
    // The transfer timeout covers silence; this covers a server that trickles.
    QTimer deadline;
    deadline.setSingleShot(true);
    QObject::connect(&deadline, &QTimer::timeout, reply,
                     [&] { refuse(QStringLiteral("no answer within %1 s").arg(timeoutMs / 1000)); });
    QEventLoop loop;
    QObject::connect(reply, &QNetworkReply::finished, &loop, &QEventLoop::quit);
    deadline.start(timeoutMs);
    if (!reply->isFinished())
        loop.exec();
    deadline.stop();
    if (refusal.isEmpty())
        body += reply->readAll();
    if (!refusal.isEmpty())
        fetch.error = refusal;
    else if (reply->error() == QNetworkReply::OperationCanceledError)
        fetch.error = QStringLiteral("no answer within %1 s").arg(timeoutMs / 1000);
    else if (reply->error() != QNetworkReply::NoError)
        fetch.error = reply->errorString();
    else
        fetch.body = QString::fromUtf8(body);
    // The reply goes with its manager, at the return.
    reply->disconnect();
    return fetch;
}

std::optional<qint16> versionFileStamp(const QString &body)
{
    bool ok = false;
    const qint16 stamp = body.trimmed().toShort(&ok);
    return ok ? std::optional<qint16>(stamp) : std::nullopt;
}

UpdateCheck::UpdateCheck(ActivityLog &log, Dialogs &dialogs, Fetch fetch)
    : m_log(log)
    , m_dialogs(dialogs)
    , m_fetch(fetch ? std::move(fetch) : Fetch([] { return fetchText(versionFileUrl()); }))
{
}

std::optional<qint16> UpdateCheck::remoteStamp()
{
    const TextFetch fetch = m_fetch();
    return fetch.ok() ? versionFileStamp(fetch.body) : std::nullopt;
}

void UpdateCheck::offerDownload()
{
    const DialogAnswer answer = m_dialogs.message({QStringLiteral("There's a new version available!") + kCrLf + kCrLf
                                                       + QStringLiteral("Do you want to download it now?"),
                                                   QString(), DialogButtons::YesNo, DialogIcon::Question});
    if (answer == DialogAnswer::Yes)
        m_dialogs.openUrl(downloadPageUrl());
}

void UpdateCheck::CheckForUpdatesAtStart()
{
    const std::optional<qint16> remote = remoteStamp();
    if (!remote) {
        m_log.append(QStringLiteral(" -> New version checked: Failed (No internet connection found)."));
        return;
    }
    // Logged before the comparison, so it also precedes the offer.
    m_log.append(QStringLiteral(" -> New version checked: No 'New Version' Available"));
    if (versionStamp().toDouble() < *remote)
        offerDownload();
}

void UpdateCheck::CheckForUpdatesNow()
{
    const std::optional<qint16> remote = remoteStamp();
    if (!remote) {
        m_dialogs.message({QStringLiteral("Couldn't find an internet Connection!"), QString(), DialogButtons::Ok,
                           DialogIcon::None});
        return;
    }
    if (versionStamp().toDouble() < *remote)
        offerDownload();
    else
        m_dialogs.message({QStringLiteral("No new versions available."), QString(), DialogButtons::Ok, DialogIcon::None});
}

} // namespace tonmill

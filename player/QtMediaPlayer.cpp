#include "player/QtMediaPlayer.h"

#include "platform/ChildProcess.h"
#include "platform/ToolChain.h"
#include "player/PlayerTransport.h"
#include "settings/INIManager.h"

#include <QAudioDevice>
#include <QAudioOutput>
#include <QDir>
#include <QEventLoop>
#include <QMediaDevices>
#include <QMediaPlayer>
#include <QProcess>
#include <QTemporaryFile>
#include <QTimer>
#include <QUrl>

namespace tonmill {

namespace {

constexpr int kLoadTimeoutMs = 10000;

bool isScript(const QString &path)
{
    return path.endsWith(QLatin1String(".avs"), Qt::CaseInsensitive);
}

} // namespace

QtMediaPlayer::QtMediaPlayer(const AppFolder &folder, QObject *parent)
    : QObject(parent)
    , m_folder(folder)
{
    if (QMediaDevices::audioOutputs().isEmpty()) {
        m_unavailable = QStringLiteral("no sound output device was found");
        return;
    }
    m_player = new QMediaPlayer(this);
    m_output = new QAudioOutput(this);
    m_player->setAudioOutput(m_output);
}

QtMediaPlayer::~QtMediaPlayer() = default;

void QtMediaPlayer::setFileName(const QString &path)
{
    if (!m_player)
        return;
    m_player->stop();
    m_player->setSource(QUrl());
    m_loadFailure.clear();
    QString playable = path;
    if (isScript(path)) {
        playable = renderScript(path);
        if (playable.isEmpty())
            return;
    } else {
        // A plain source replaces the rendered one.
        m_rendered.reset();
    }
    m_player->setSource(QUrl::fromLocalFile(playable));
    waitUntilLoaded();
}

QString QtMediaPlayer::renderScript(const QString &script)
{
    auto rendered = std::make_unique<QTemporaryFile>(QDir::tempPath() + QStringLiteral("/tonmill-preview-XXXXXX.wav"));
    if (!rendered->open()) {
        m_loadFailure = QStringLiteral("no temporary file for the preview: ") + rendered->errorString();
        return {};
    }
    rendered->close();
    const QString ffmpeg =
        ReadIniValue(QStringLiteral("General"), QStringLiteral("FFMPEG"), m_folder.file(QStringLiteral("\\Tonmill.ini")));
    const QString interpreter = m_folder.file(QStringLiteral("Tools/tonmill-avs"));
    QProcess process;
    process.setProcessChannelMode(QProcess::MergedChannels);
    makeChildDieWithParent(process);
    process.start(interpreter, {QStringLiteral("--ffmpeg"), ffmpeg, script, rendered->fileName()});
    if (!process.waitForStarted(-1)) {
        m_loadFailure = cannotStart(interpreter, process.errorString());
        return {};
    }
    QByteArray printed;
    waitYielding(process, [&] {
        printed += process.readAll();
        return true;
    });
    printed += process.readAll();
    if (process.exitStatus() != QProcess::NormalExit || process.exitCode() != 0) {
        m_loadFailure = QStringLiteral("the preview could not be made: ") + lastLineOf(QString::fromUtf8(printed));
        return {};
    }
    m_rendered = std::move(rendered);
    return m_rendered->fileName();
}

void QtMediaPlayer::waitUntilLoaded()
{
    const auto settled = [this] {
        const QMediaPlayer::MediaStatus status = m_player->mediaStatus();
        return status == QMediaPlayer::LoadedMedia || status == QMediaPlayer::InvalidMedia
               || status == QMediaPlayer::NoMedia;
    };
    if (!settled()) {
        QEventLoop wait;
        QTimer timeout;
        timeout.setSingleShot(true);
        connect(&timeout, &QTimer::timeout, &wait, &QEventLoop::quit);
        connect(m_player, &QMediaPlayer::mediaStatusChanged, &wait, [&] {
            if (settled())
                wait.quit();
        });
        timeout.start(kLoadTimeoutMs);
        wait.exec();
    }
    if (m_player->mediaStatus() != QMediaPlayer::LoadedMedia)
        m_loadFailure = m_player->errorString().isEmpty() ? QStringLiteral("the player cannot read it")
                                                          : m_player->errorString();
    else if (!m_player->hasAudio())
        m_loadFailure = QStringLiteral("it holds no sound");
}

QString QtMediaPlayer::renderedFile() const
{
    return m_rendered ? m_rendered->fileName() : QString();
}

void QtMediaPlayer::play()
{
    if (m_player)
        m_player->play();
}

void QtMediaPlayer::pause()
{
    if (m_player)
        m_player->pause();
}

void QtMediaPlayer::stop()
{
    if (m_player)
        m_player->stop();
}

int QtMediaPlayer::playState() const
{
    if (!m_player)
        return 0;
    switch (m_player->playbackState()) {
    case QMediaPlayer::PlayingState:
        return kPlaying;
    case QMediaPlayer::PausedState:
        return 1;
    case QMediaPlayer::StoppedState:
        break;
    }
    return 0;
}

double QtMediaPlayer::currentPosition() const
{
    return m_player ? m_player->position() / 1000.0 : 0.0;
}

void QtMediaPlayer::setCurrentPosition(double seconds)
{
    if (m_player)
        m_player->setPosition(static_cast<qint64>(std::llround(seconds * 1000)));
}

double QtMediaPlayer::duration() const
{
    return m_player ? m_player->duration() / 1000.0 : 0.0;
}

void QtMediaPlayer::setMute(bool mute)
{
    if (m_output)
        m_output->setMuted(mute);
}

void QtMediaPlayer::setVolume(int hundredthsOfDecibel)
{
    if (m_output)
        m_output->setVolume(static_cast<float>(std::min(1.0, volumeGain(hundredthsOfDecibel))));
}

} // namespace tonmill

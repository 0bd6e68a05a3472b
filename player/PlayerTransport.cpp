#include "player/PlayerTransport.h"

#include "platform/NumberFormat.h"
#include "player/MediaPlayer.h"

#include <QFileInfo>

#include <cmath>

namespace tonmill {

namespace {
constexpr qint64 kSecondsPerDay = 86400;
}

QString counterTime(double seconds)
{
    if (!std::isfinite(seconds))
        return QStringLiteral("00:00:00");
    // A fraction of a day, as a time of day: it wraps at 24 hours.
    const qint64 whole = static_cast<qint64>(roundWhole(seconds));
    const qint64 ofDay = ((whole % kSecondsPerDay) + kSecondsPerDay) % kSecondsPerDay;
    return QStringLiteral("%1:%2:%3")
        .arg(ofDay / 3600, 2, 10, QLatin1Char('0'))
        .arg(ofDay / 60 % 60, 2, 10, QLatin1Char('0'))
        .arg(ofDay % 60, 2, 10, QLatin1Char('0'));
}

QString counterSeconds(double seconds)
{
    if (!std::isfinite(seconds))
        return QStringLiteral("000.000");
    const QString digits = QString::asprintf("%07.3f", std::fabs(seconds));
    return seconds < 0 && digits != QLatin1String("000.000") ? QLatin1Char('-') + digits : digits;
}

double volumeGain(int hundredthsOfDecibel)
{
    return std::pow(10.0, hundredthsOfDecibel / 2000.0);
}

PlayerTransport::PlayerTransport(MediaPlayer &player, const QString &source)
    : m_player(player)
    , m_source(source)
{
    state.unavailable = player.unavailableReason();
    m_player.setVolume(state.sldVolume - PlayerState::kVolumeMax);
}

double PlayerTransport::position() const
{
    const double seconds = m_player.currentPosition();
    return std::isfinite(seconds) ? seconds : 0;
}

void PlayerTransport::load(const QString &path)
{
    m_loaded = path;
    m_player.setFileName(path);
    state.loadFailure = m_player.loadFailure();
}

void PlayerTransport::btnPlay_Click()
{
    if (state.txtPlayWhat.toInt() == 1 || !(position() > 0))
        load(m_source);
    state.Slider1Max = static_cast<int>(roundWhole(m_player.duration()));
    state.Timer1Enabled = true;
    m_player.play();
    state.txtPlayWhat = QStringLiteral("0");
}

void PlayerTransport::playFile(const QString &path)
{
    state.txtPlayWhat = QStringLiteral("1");
    state.Timer1Enabled = true;
    load(path);
    state.Slider1Max = static_cast<int>(roundWhole(m_player.duration()));
    m_player.play();
}

void PlayerTransport::btnPause_Click()
{
    m_player.pause();
}

void PlayerTransport::playOrPause()
{
    if (m_player.playState() == MediaPlayer::kPlaying)
        btnPause_Click();
    else
        btnPlay_Click();
}

void PlayerTransport::BtnMute_Click()
{
    const bool mute = state.BtnMute == QLatin1String("Off");
    m_player.setMute(mute);
    state.BtnMute = mute ? QStringLiteral("On") : QStringLiteral("Off");
}

void PlayerTransport::step(double seconds)
{
    if (m_player.playState() == MediaPlayer::kPlaying)
        m_player.pause();
    m_player.setCurrentPosition(position() + seconds);
    refresh();
}

void PlayerTransport::newSource()
{
    state.txtPlayWhat = QStringLiteral("1");
    refresh();
}

void PlayerTransport::refresh()
{
    const double seconds = position();
    state.Slider1 = static_cast<int>(roundWhole(seconds));
    state.txtCounter1 = counterTime(seconds);
    state.txtCounter2 = counterSeconds(seconds);
    state.Slider1Text = QStringLiteral("Tonmill - ") + QFileInfo(m_source).fileName() + QStringLiteral(" - ")
                        + state.txtCounter1;
}

void PlayerTransport::Timer2_Timer(int slVolume)
{
    state.status = QStringLiteral("Volume ") + QString::number(state.sldVolume) + QStringLiteral(" - ")
                   + counterTime(position()) + QStringLiteral(" - ") + counterSeconds(position())
                   + QStringLiteral(" - ") + QString::number(slVolume) + QStringLiteral(" %");
}

void PlayerTransport::Slider1_Press(int value)
{
    state.Timer1Enabled = false;
    state.Timer2Enabled = true;
    m_player.setCurrentPosition(value);
}

void PlayerTransport::Slider1_Release(int value)
{
    state.Timer1Enabled = true;
    state.Timer2Enabled = false;
    m_player.setCurrentPosition(value);
}

void PlayerTransport::sldVolume_Change(int value)
{
    state.sldVolume = value;
    m_player.setVolume(value - PlayerState::kVolumeMax);
}

} // namespace tonmill

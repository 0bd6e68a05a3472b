#pragma once

#include <QString>

namespace tonmill {

class MediaPlayer;

// A position in seconds as the first read-out shows it: a time of day,
// "hh:mm:ss", to the nearest second.
QString counterTime(double seconds);
// The same position as the second read-out and the cut fields show it:
// "000.000", three whole digits at least and three decimals.
QString counterSeconds(double seconds);
// A volume in hundredths of a decibel as a linear gain (0 is 1.0).
double volumeGain(int hundredthsOfDecibel);

// What the player's controls show.
struct PlayerState {
    static constexpr int kVolumeMax = 3000;

    // "1": the next Play loads the file afresh.
    QString txtPlayWhat = QStringLiteral("0");
    QString txtCounter1 = QStringLiteral("00:00:00");
    QString txtCounter2 = QStringLiteral("000.000");
    int Slider1 = 0;
    int Slider1Max = 0;
    QString Slider1Text;
    bool Timer1Enabled = false;
    bool Timer2Enabled = false;
    // The caption names what the next click does: "Off" mutes.
    QString BtnMute = QStringLiteral("Off");
    int sldVolume = 2400;
    // What Timer2 shows while a slider is held.
    QString status;
    // Why the player cannot play; empty when it can.
    QString unavailable;
    // Why the file the player was last given could not be loaded.
    QString loadFailure;
};

// Play, pause, mute, the step buttons, the position slider and the read-outs
// of the preview player. The window calls the handlers and shows the state.
class PlayerTransport {
public:
    // source: the source path field, read when Play loads the file.
    PlayerTransport(MediaPlayer &player, const QString &source);

    PlayerState state;

    void btnPlay_Click();
    void btnPause_Click();
    // The Space key on the player: a pause while it plays, else a play.
    void playOrPause();
    void BtnMute_Click();
    // The six step buttons: -0.1, -1, -5, +0.1, +1, +5 seconds.
    void step(double seconds);
    // A new source: the next Play loads it, and the read-outs show where
    // the stopped player stands.
    void newSource();
    void Timer1_Timer() { refresh(); }
    void Timer2_Timer(int slVolume);

    void Slider1_Press(int value);
    void Slider1_Release(int value);
    void sldVolume_Change(int value);
    void sliderPress() { state.Timer2Enabled = true; }
    void sliderRelease() { state.Timer2Enabled = false; }

    // Loads the file and plays it from the start, for the segment preview.
    void playFile(const QString &path);
    double position() const;
    // The file the player was last given.
    const QString &loadedFile() const { return m_loaded; }
    MediaPlayer &player() { return m_player; }

    // The read-outs from the player's position.
    void refresh();

private:
    void load(const QString &path);

    MediaPlayer &m_player;
    const QString &m_source;
    QString m_loaded;
};

} // namespace tonmill

#pragma once

#include <QString>

namespace tonmill {

// The preview player as the transport drives it: load a file, play, pause,
// seek, mute and set the volume. The window's player realises it on the
// platform's media framework; tests may give one of their own.
class MediaPlayer {
public:
    static constexpr int kPlaying = 2;

    virtual ~MediaPlayer() = default;
    // Why nothing can be played (no sound device); empty when it can.
    virtual QString unavailableReason() const = 0;
    // Loads the file and returns once it is ready to play or has failed; a
    // decoding script is rendered to sound first.
    virtual void setFileName(const QString &path) = 0;
    // Why the last file could not be loaded; empty when it could.
    virtual QString loadFailure() const = 0;
    virtual void play() = 0;
    virtual void pause() = 0;
    // Playback stops and the file is let go.
    virtual void stop() = 0;
    // 2 while playing.
    virtual int playState() const = 0;
    virtual double currentPosition() const = 0;
    // A position outside the file is the player's to handle.
    virtual void setCurrentPosition(double seconds) = 0;
    virtual double duration() const = 0;
    virtual void setMute(bool mute) = 0;
    // Hundredths of a decibel; 0 is full level.
    virtual void setVolume(int hundredthsOfDecibel) = 0;
};

} // namespace tonmill

#pragma once

#include "platform/AppFolder.h"
#include "player/MediaPlayer.h"

#include <QObject>

#include <memory>

class QAudioOutput;
class QMediaPlayer;
class QTemporaryFile;

namespace tonmill {

// The preview player on Qt Multimedia. It is made only when the machine has a
// sound output, since the media framework fails hard without one; otherwise
// it stays empty and says why. A decoding script is rendered by the script
// interpreter to a temporary WAV, which is what plays; that file goes when
// the next one replaces it and when the player goes.
class QtMediaPlayer : public QObject, public MediaPlayer {
    Q_OBJECT
public:
    explicit QtMediaPlayer(const AppFolder &folder, QObject *parent = nullptr);
    ~QtMediaPlayer() override;

    QString unavailableReason() const override { return m_unavailable; }
    void setFileName(const QString &path) override;
    void play() override;
    void pause() override;
    void stop() override;
    int playState() const override;
    double currentPosition() const override;
    void setCurrentPosition(double seconds) override;
    double duration() const override;
    void setMute(bool mute) override;
    void setVolume(int hundredthsOfDecibel) override;

    QString loadFailure() const override { return m_loadFailure; }
    // The WAV rendered from the last script; empty when none is held.
    QString renderedFile() const;

private:
    QString renderScript(const QString &script);
    void waitUntilLoaded();

    AppFolder m_folder;
    QString m_unavailable;
    QString m_loadFailure;
    QMediaPlayer *m_player = nullptr;
    QAudioOutput *m_output = nullptr;
    std::unique_ptr<QTemporaryFile> m_rendered;
};

} // namespace tonmill

#pragma once
// The Review page's preview sound: one file, a position in seconds, play and stop. The application
// plays through Qt Multimedia; tests and the screen renderer install a stand-in (AppServices).

#include <QObject>
#include <QString>

#include <functional>

class QAudioOutput;
class QMediaPlayer;

namespace ondrel {

class AudioPlayer : public QObject {
    Q_OBJECT
public:
    using QObject::QObject;

    // "" when the file is open for playing; otherwise why it can't be heard, in the program's own
    // plain words ("no audio output device"), and the player is of no further use.
    virtual QString open(const QString& path) = 0;
    virtual void seek(double seconds) = 0;
    virtual void play() = 0;
    virtual void stop() = 0;

signals:
    // The sound broke down after open() accepted the file; `reason` in the words open() uses.
    void failed(const QString& reason);
};

// Why Qt Multimedia can't play on this machine, or "". Asked before any of its players is made:
// Qt 6.4 ends the process (SIGSEGV) when a player is made or started with no audio output device,
// or with GStreamer elements its backend links missing.
QString multimediaPlaybackProblem();

// The GStreamer backend's part of it, given which element factories are installed: "" when every
// element a player of Qt 6.4 links is there, otherwise the Debian packages that bring the missing.
QString gstreamerPlaybackProblem(const std::function<bool(const char* element)>& installed);

class MultimediaAudioPlayer : public AudioPlayer {
    Q_OBJECT
public:
    explicit MultimediaAudioPlayer(QObject* parent = nullptr);
    ~MultimediaAudioPlayer() override;

    QString open(const QString& path) override;
    void seek(double seconds) override;
    void play() override;
    void stop() override;

private:
    void seekWhenReady();
    QString errorReason() const;

    // Children of this player, made by open() once playback is known to be possible.
    QAudioOutput* m_output = nullptr;
    QMediaPlayer* m_player = nullptr;
    QString m_fileName;
    qint64 m_pendingMs = -1;
};

} // namespace ondrel

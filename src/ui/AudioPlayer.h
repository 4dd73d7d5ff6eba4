#pragma once
// The Review page's preview sound: one file, a position in seconds, play and stop. The application
// plays through Qt Multimedia; tests and the screen renderer install a stand-in (AppServices).

#include <QObject>
#include <QString>

#include <memory>

class QAudioOutput;
class QMediaPlayer;

namespace ondrel {

class AudioPlayer : public QObject {
    Q_OBJECT
public:
    using QObject::QObject;

    // False when the file can't be opened; the player is then of no further use.
    virtual bool open(const QString& path) = 0;
    virtual void seek(double seconds) = 0;
    virtual void play() = 0;
    virtual void stop() = 0;

signals:
    // The file turned out unplayable after open() accepted it.
    void failed();
};

class MultimediaAudioPlayer : public AudioPlayer {
    Q_OBJECT
public:
    explicit MultimediaAudioPlayer(QObject* parent = nullptr);
    ~MultimediaAudioPlayer() override;

    bool open(const QString& path) override;
    void seek(double seconds) override;
    void play() override;
    void stop() override;

private:
    void seekWhenReady();

    std::unique_ptr<QAudioOutput> m_output;
    std::unique_ptr<QMediaPlayer> m_player;
    qint64 m_pendingMs = -1;
};

} // namespace ondrel

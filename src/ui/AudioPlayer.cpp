#include "AudioPlayer.h"

#include <QAudioOutput>
#include <QFileInfo>
#include <QMediaPlayer>
#include <QUrl>

namespace ondrel {

MultimediaAudioPlayer::MultimediaAudioPlayer(QObject* parent)
    : AudioPlayer(parent)
    , m_output(std::make_unique<QAudioOutput>())
    , m_player(std::make_unique<QMediaPlayer>()) {
    m_player->setAudioOutput(m_output.get());
    // GStreamer drops a position set before the stream is seekable and playing: hold it until then.
    connect(m_player.get(), &QMediaPlayer::seekableChanged, this, &MultimediaAudioPlayer::seekWhenReady);
    connect(m_player.get(), &QMediaPlayer::playbackStateChanged, this, &MultimediaAudioPlayer::seekWhenReady);
    connect(m_player.get(), &QMediaPlayer::errorOccurred, this, [this](QMediaPlayer::Error error) {
        if (error != QMediaPlayer::NoError)
            emit failed();
    });
    connect(m_player.get(), &QMediaPlayer::mediaStatusChanged, this,
            [this](QMediaPlayer::MediaStatus status) {
                if (status == QMediaPlayer::InvalidMedia)
                    emit failed();
            });
}

MultimediaAudioPlayer::~MultimediaAudioPlayer() {
    m_player->stop();
}

bool MultimediaAudioPlayer::open(const QString& path) {
    const QFileInfo file(path);
    if (!file.isFile() || !file.isReadable())
        return false;
    m_player->setSource(QUrl::fromLocalFile(file.absoluteFilePath()));
    return m_player->error() == QMediaPlayer::NoError;
}

void MultimediaAudioPlayer::seek(double seconds) {
    m_pendingMs = qint64(std::max(0.0, seconds) * 1000.0);
    seekWhenReady();
}

void MultimediaAudioPlayer::play() {
    m_player->play();
}

void MultimediaAudioPlayer::stop() {
    m_pendingMs = -1;
    m_player->stop();
}

void MultimediaAudioPlayer::seekWhenReady() {
    if (m_pendingMs < 0 || !m_player->isSeekable() || m_player->playbackState() != QMediaPlayer::PlayingState)
        return;
    m_player->setPosition(std::exchange(m_pendingMs, -1));
}

} // namespace ondrel

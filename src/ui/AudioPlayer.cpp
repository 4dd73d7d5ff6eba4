#include "AudioPlayer.h"

#include <QAudioDevice>
#include <QAudioOutput>
#include <QFileInfo>
#include <QLibrary>
#include <QMediaDevices>
#include <QMediaPlayer>
#include <QUrl>

namespace ondrel {

namespace {

const char* const kPluginsBase = "gstreamer1.0-plugins-base";
const char* const kPluginsGood = "gstreamer1.0-plugins-good";
const char* const kPulseSink = "gstreamer1.0-pulseaudio";

// What a player of Qt 6.4's GStreamer backend links when it is made and when it opens a WAV: it
// links them unchecked, so one missing is a crash, not an error. The output device Qt picks comes
// from PulseAudio, and Qt plays to it through pulsesink.
struct NeededElement {
    const char* element;
    const char* package;
};
constexpr NeededElement kNeededElements[] = {
    {"decodebin", kPluginsBase},     {"uridecodebin", kPluginsBase},  {"audioconvert", kPluginsBase},
    {"audioresample", kPluginsBase}, {"volume", kPluginsBase},        {"videoconvert", kPluginsBase},
    {"videoscale", kPluginsBase},    {"autoaudiosink", kPluginsGood}, {"wavparse", kPluginsGood},
    {"pulsesink", kPulseSink},
};

// Qt 6.4 plays through the platform's backend unless QT_MEDIA_BACKEND names another; on Linux
// that is GStreamer.
bool playsThroughGstreamer() {
    const QString backend = qEnvironmentVariable("QT_MEDIA_BACKEND");
#ifdef Q_OS_LINUX
    return backend.isEmpty() || backend == QLatin1String("gstreamer");
#else
    return backend == QLatin1String("gstreamer");
#endif
}

// Asked of GStreamer itself, loaded at run time: the program needs no GStreamer to be built, and a
// machine without it gets a reason instead of a failed start. GStreamer reads its plugins once per
// process, so one answer holds for the process.
QString installedGstreamerProblem() {
    static const QString problem = [] {
        QLibrary gst(QStringLiteral("gstreamer-1.0"), 0);
        using InitCheck = int (*)(int*, char***, void**);
        using FactoryFind = void* (*)(const char*);
        using ObjectUnref = void (*)(void*);
        const auto init = reinterpret_cast<InitCheck>(gst.resolve("gst_init_check"));
        const auto find = reinterpret_cast<FactoryFind>(gst.resolve("gst_element_factory_find"));
        const auto unref = reinterpret_cast<ObjectUnref>(gst.resolve("gst_object_unref"));
        if (!init || !find || !unref)
            return QStringLiteral("GStreamer is not installed (libgstreamer1.0-0)");
        void* error = nullptr; // a GError, left to the process: GStreamer that can't start is rare
        if (!init(nullptr, nullptr, &error))
            return QStringLiteral("GStreamer could not start");
        return gstreamerPlaybackProblem([&](const char* element) {
            void* factory = find(element);
            if (factory)
                unref(factory);
            return factory != nullptr;
        });
    }();
    return problem;
}

} // namespace

QString gstreamerPlaybackProblem(const std::function<bool(const char* element)>& installed) {
    QStringList packages;
    for (const NeededElement& needed : kNeededElements) {
        const QString package = QLatin1String(needed.package);
        if (!packages.contains(package) && !installed(needed.element))
            packages << package;
    }
    if (packages.isEmpty())
        return {};
    return QStringLiteral("GStreamer's playback plugins are not installed (%1)")
        .arg(packages.join(QStringLiteral(", ")));
}

QString multimediaPlaybackProblem() {
    if (playsThroughGstreamer())
        if (QString problem = installedGstreamerProblem(); !problem.isEmpty())
            return problem;
    // Asked at every preview: a device may come (or go) while the program runs.
    if (QMediaDevices::audioOutputs().isEmpty())
        return QStringLiteral("no audio output device");
    return {};
}

MultimediaAudioPlayer::MultimediaAudioPlayer(QObject* parent)
    : AudioPlayer(parent) {}

MultimediaAudioPlayer::~MultimediaAudioPlayer() {
    if (m_player) {
        m_player->stop();
        delete std::exchange(m_player, nullptr); // before the output it plays to
    }
}

QString MultimediaAudioPlayer::open(const QString& path) {
    const QFileInfo file(path);
    m_fileName = file.fileName();
    if (!file.isFile() || !file.isReadable())
        return QStringLiteral("%1 can't be read").arg(m_fileName);
    if (QString problem = multimediaPlaybackProblem(); !problem.isEmpty())
        return problem;
    if (!m_player) {
        m_output = new QAudioOutput(this);
        m_player = new QMediaPlayer(this);
        m_player->setAudioOutput(m_output);
        // GStreamer drops a position set before the stream is seekable and playing: hold it until then.
        connect(m_player, &QMediaPlayer::seekableChanged, this, &MultimediaAudioPlayer::seekWhenReady);
        connect(m_player, &QMediaPlayer::playbackStateChanged, this, &MultimediaAudioPlayer::seekWhenReady);
        connect(m_player, &QMediaPlayer::errorOccurred, this, [this](QMediaPlayer::Error error) {
            if (error != QMediaPlayer::NoError)
                emit failed(errorReason());
        });
        connect(m_player, &QMediaPlayer::mediaStatusChanged, this, [this](QMediaPlayer::MediaStatus status) {
            if (status == QMediaPlayer::InvalidMedia)
                emit failed(errorReason());
        });
    }
    m_player->setSource(QUrl::fromLocalFile(file.absoluteFilePath()));
    return m_player->error() == QMediaPlayer::NoError ? QString() : errorReason();
}

void MultimediaAudioPlayer::seek(double seconds) {
    m_pendingMs = qint64(std::max(0.0, seconds) * 1000.0);
    seekWhenReady();
}

void MultimediaAudioPlayer::play() {
    if (m_player)
        m_player->play();
}

void MultimediaAudioPlayer::stop() {
    m_pendingMs = -1;
    if (m_player)
        m_player->stop();
}

void MultimediaAudioPlayer::seekWhenReady() {
    if (m_pendingMs < 0 || !m_player || !m_player->isSeekable() ||
        m_player->playbackState() != QMediaPlayer::PlayingState)
        return;
    m_player->setPosition(std::exchange(m_pendingMs, -1));
}

// Qt's own texts name GStreamer's internals; the card says what it means for the file.
QString MultimediaAudioPlayer::errorReason() const {
    switch (m_player ? m_player->error() : QMediaPlayer::NoError) {
    case QMediaPlayer::FormatError:
        return QStringLiteral("the sound of %1 can't be decoded").arg(m_fileName);
    case QMediaPlayer::AccessDeniedError:
        return QStringLiteral("%1 can't be read").arg(m_fileName);
    case QMediaPlayer::ResourceError:
        return QStringLiteral("%1 can't be opened for playing").arg(m_fileName);
    default:
        return QStringLiteral("%1 can't be played").arg(m_fileName);
    }
}

} // namespace ondrel

// Times the hand-off on a long story: 2,000 moments (4 h) over 60 source files of 30 min, from
// building the timeline to writing the five files.
// Run: cmake --build <dir> --target interchange_bench && <dir>/bench/interchange/interchange_bench [folder]
// With a folder, the files stay there (for checking them by hand, as with xmllint).
#include "interchange/Interchange.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QTemporaryDir>

#include <algorithm>
#include <cstdio>
#include <functional>
#include <random>
#include <vector>

using namespace ondrel;
using namespace ondrel::interchange;

namespace {

const int kMoments = 2000;
const int kFiles = 60;
const double kFileLength = 1800;
const int kRounds = 5;

QList<SourceMedia> makeSources() {
    QList<SourceMedia> sources;
    for (int f = 0; f < kFiles; ++f) {
        SourceMedia s;
        const bool camera = f % 3 != 2;
        s.path = QStringLiteral("/Volumes/Footage/Day %1/%2 %3.%4")
                     .arg(f / 10)
                     .arg(camera ? "Cam" : "Lav")
                     .arg(f, 2, 10, QLatin1Char('0'))
                     .arg(camera ? "mov" : "wav");
        s.length = kFileLength;
        s.hasAudio = true;
        s.sampleRate = 48000;
        s.audioChannels = camera ? 2 : 1;
        if (camera) {
            s.hasVideo = true;
            // Most at 29.97 drop-frame, some at 25: the conversion is part of the cost.
            s.frameRate = f % 7 == 3 ? Rational::of(25) : Rational::of(30000, 1001);
            s.width = 1920;
            s.height = 1080;
            s.startTimecode = QStringLiteral("%1:00:00;00").arg(f % 24, 2, 10, QLatin1Char('0'));
            s.dropFrame = true;
        } else {
            s.timeReference = qint64(f) * 3600 * 48000 + 1234;
        }
        sources << s;
    }
    return sources;
}

QList<StorySegment> makeStory() {
    std::mt19937 rng(20250314);
    std::uniform_real_distribution<double> start(0, kFileLength * kFiles - 20);
    QList<StorySegment> story;
    // 4 h over 2,000 moments: 7.2 s each on average.
    std::uniform_real_distribution<double> length(4.4, 10.0);
    for (int i = 0; i < kMoments; ++i) {
        StorySegment s;
        s.index = i;
        s.startTime = start(rng);
        s.endTime = s.startTime + length(rng);
        s.transcript = QStringLiteral("moment %1").arg(i);
        if (i % 40 == 0)
            s.chapter = QStringLiteral("Chapter & part %1").arg(i / 40 + 1);
        story << s;
    }
    return story;
}

// `unit` names what `run` returns; empty when it returns nothing to show.
void measure(const char* label, const char* unit, const std::function<qsizetype()>& run) {
    std::vector<double> ms;
    qsizetype size = 0;
    for (int r = 0; r < kRounds; ++r) {
        QElapsedTimer t;
        t.start();
        size = run();
        ms.push_back(double(t.nsecsElapsed()) / 1e6);
    }
    std::sort(ms.begin(), ms.end());
    std::printf("%-26s median %8.1f ms   best %8.1f ms", label, ms[ms.size() / 2], ms.front());
    if (*unit)
        std::printf("   %9lld %s", static_cast<long long>(size), unit);
    std::printf("\n");
}

} // namespace

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    const QList<SourceMedia> sources = makeSources();
    const QList<StorySegment> story = makeStory();
    QTemporaryDir scratch;
    const QString folder = argc > 1 ? QString::fromLocal8Bit(argv[1]) : scratch.filePath("exports");

    const EditTimeline timeline = buildTimeline("Bench", story, sources);
    std::printf("%d moments over %d files: %lld clips, %s of %s, %d rounds each\n", kMoments, kFiles,
                static_cast<long long>(eventsOf(timeline).size()),
                qPrintable(timecodeText(timeline.duration, {timeline.rate, timeline.dropFrame})),
                qPrintable(timeline.rate.label()), kRounds);

    measure("build timeline", "clips", [&] {
        qsizetype clips = 0;
        for (const Track& track : buildTimeline("Bench", story, sources).tracks)
            clips += track.clips.size();
        return clips;
    });
    measure("FCPXML 1.11", "bytes", [&] { return fcpxmlBytes(timeline).size(); });
    measure("FCP 7 XML", "bytes", [&] { return fcp7XmlBytes(timeline).size(); });
    measure("OTIO", "bytes", [&] { return otioBytes(timeline).size(); });
    measure("EDL", "bytes", [&] { return edlBytes(timeline).size(); });
    measure("all five files to disk", "", [&] {
        QString error;
        if (!writeInterchangeFiles(timeline, folder, &error))
            std::printf("%s\n", qPrintable(error));
        return qsizetype(0);
    });
    measure("build and write", "", [&] {
        QString error;
        writeInterchangeFiles(buildTimeline("Bench", story, sources), folder, &error);
        return qsizetype(0);
    });
    return 0;
}

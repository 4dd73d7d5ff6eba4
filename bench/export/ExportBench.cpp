// Times the export bundle's subtitles on a large story: 10,000 segments over 50 source files (the
// hand-off files have their own benchmark, bench/interchange).
// Run: cmake --build <dir> --target export_bench && <dir>/bench/export/export_bench
#include "export/ExportBundle.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QTemporaryDir>

#include <algorithm>
#include <cstdio>
#include <functional>
#include <random>
#include <vector>

using namespace ondrel;

namespace {

const int kSegments = 10000;
const int kFiles = 50;
const int kRounds = 5;

struct Story {
    QList<MediaFileInfo> files;
    MiningResults results;
    QList<WordSegment> words;
};

Story makeStory() {
    std::mt19937 rng(20250314);
    std::uniform_real_distribution<double> length(2.0, 20.0);
    std::uniform_int_distribution<int> wordCount(8, 40);
    const QStringList vocabulary =
        QStringLiteral("and that was the year when we first moved to the coast with "
                       "everything we had & nothing we'd \"planned\" <at all>")
            .split(' ');
    Story s;
    double clock = 0;
    for (int f = 0; f < kFiles; ++f) {
        const bool video = f % 5 == 0;
        const QString name =
            QStringLiteral("Interview %1%2").arg(f, 2, 10, QLatin1Char('0')).arg(video ? ".mov" : ".wav");
        std::optional<QString> tc;
        if (f % 7 != 0)
            tc = QStringLiteral("%1:00:00:00").arg(f % 24, 2, 10, QLatin1Char('0'));
        s.files.push_back(MediaFileInfo("/Volumes/Footage/Day " + QString::number(f / 10) + "/" + name, name,
                                        1800, tc, 25, video, true));
    }
    const double total = 1800.0 * kFiles;
    for (int i = 0; i < kSegments; ++i) {
        const double start = std::fmod(clock, total);
        const double end = start + length(rng);
        clock += total / kSegments * 0.97;
        QStringList text;
        const int n = wordCount(rng);
        for (int w = 0; w < n; ++w)
            text << vocabulary[(i * 7 + w * 3) % vocabulary.size()];
        StorySegment seg;
        seg.index = i + 1;
        seg.startTime = start;
        seg.endTime = end;
        seg.sourceClip = s.files[i % kFiles].filename;
        seg.transcript = text.join(' ');
        seg.translation = i % 3 == 0 ? QString() : text.mid(1).join(' ');
        if (i % 4 != 0)
            seg.chapter = QStringLiteral("Chapter & part %1").arg(i / 40 + 1);
        s.results.segments.push_back(seg);
        s.results.subtitles.push_back({start, end, seg.transcript.left(80)});
        if (i % 2 == 0) {
            WordSegment ws{i, {}};
            const double step = (end - start) / n;
            for (int w = 0; w < n; ++w)
                ws.words.push_back({text[w], w * step, w * step + step * 0.8});
            s.words.push_back(ws);
        }
    }
    return s;
}

void measure(const char* label, const std::function<qsizetype()>& run) {
    std::vector<double> ms;
    qsizetype size = 0;
    for (int r = 0; r < kRounds; ++r) {
        QElapsedTimer t;
        t.start();
        size = run();
        ms.push_back(double(t.nsecsElapsed()) / 1e6);
    }
    std::sort(ms.begin(), ms.end());
    std::printf("%-22s median %8.1f ms   best %8.1f ms   %9lld characters\n", label, ms[ms.size() / 2],
                ms.front(), static_cast<long long>(size));
}

} // namespace

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    const Story s = makeStory();
    QTemporaryDir dir;
    std::printf("%d segments over %d files, %d rounds each\n", kSegments, kFiles, kRounds);

    measure("SRT text", [&] { return ExportBundle::subtitlesSrt(s.results, s.words)->size(); });
    return 0;
}

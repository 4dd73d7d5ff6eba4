// Times a whole Full Mine in one process over hours of generated interview audio in several files,
// with the speech and language-model services stood in on loopback (services.py, its own process):
// instant, and at a realistic latency (speech 6 s per 300 s chunk, language model 20 s, word timing
// 2 s a moment, times --scale) over an uplink of --uplink Mbit/s (20 by default) that every open
// request shares. Resolve is stood in too: the timeline's files are given, and the build does
// nothing. Each run goes in a process of its own, so its peak RSS and its transcript cache are its
// own.
//
// Rows of 1 and 4 hours take three 20-minute 48 kHz 24-bit takes an hour; rows of 10 hours and more
// one generated hour of 16 kHz takes, linked as often as needed (it spares the disk). Stories: 10
// minutes under 10 hours, 60 minutes from there. At 4 hours the first design runs too, in the same
// process of the bench: WAV uploads, one request at a time (so one story request).
//
// Local work = the wall time with instant services and no uplink: everything but waiting for them.
// Floor = one ffmpeg decode of the same sources to the extraction's format. Uplink floor = the bytes
// uploaded at the uplink's rate. Model = the time the stand-in model spent answering (overlapping
// answers once). Stall = the longest a 10 ms timer on the main thread came late.
//
// Run: cmake --build <dir> --target mine_bench && <dir>/bench/mine/mine_bench [--hours 1,4,10,40]
//      [--scale 1] [--uplink 20] [--only instant|realistic] [--dir D]   (sources go to a temporary
//      folder unless --dir)
#include "analysis/StorySections.h"
#include "app/PipelineWiring.h"
#include "core/Http.h"

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QNetworkAccessManager>
#include <QProcess>
#include <QSet>
#include <QTemporaryDir>
#include <QTimer>

#include <QCoroTask>

#include <sys/resource.h>

#include <algorithm>
#include <cstdio>
#include <optional>

using namespace ondrel;

namespace {

constexpr int kFilesPerHour = 3;  // 20-minute takes
constexpr int kSixteenKFrom = 10; // hours from which the sources are one 16 kHz hour repeated

bool ffmpeg(const QStringList& args) {
    QProcess p;
    p.start(ToolPaths::platformDefault().ffmpeg, QStringList{"-v", "error", "-nostdin", "-y"} + args);
    p.waitForFinished(-1);
    if (p.exitStatus() != QProcess::NormalExit || p.exitCode() != 0) {
        std::fprintf(stderr, "ffmpeg failed: %s\n", p.readAllStandardError().constData());
        return false;
    }
    return true;
}

// Speech-like: pink noise in syllable bursts of about 4 Hz with a pause every few seconds, as a
// field recorder's 48 kHz 24-bit WAV, or 16 kHz 16-bit for the long rows. Three distinct takes,
// linked under as many names as needed.
QStringList interviewFiles(const QString& dir, int hours) {
    const bool small = hours >= kSixteenKFrom;
    QStringList files;
    for (int i = 0; i < hours * kFilesPerHour; ++i) {
        const QString take =
            dir + QStringLiteral("/take_%1_%2.wav").arg(small ? "16k" : "48k").arg(i % kFilesPerHour);
        if (!QFile::exists(take) &&
            !ffmpeg({"-f", "lavfi", "-i",
                     QStringLiteral("anoisesrc=color=pink:r=%1:a=0.4:seed=%2")
                         .arg(small ? 16000 : 48000)
                         .arg(11 + i),
                     "-af", "volume='if(lt(mod(t,7.3),5.1),0.15+0.85*abs(sin(2*PI*3.9*t)),0.01)':eval=frame",
                     "-t", "1200", "-ac", "1", "-c:a", small ? "pcm_s16le" : "pcm_s24le", take}))
            return {};
        files << dir + QStringLiteral("/A%1_T%2.wav").arg(hours).arg(i, 3, 10, QLatin1Char('0'));
        if (!QFile::exists(files.last()) && !QFile::link(take, files.last()))
            return {};
    }
    return files;
}

double storyMinutes(int hours) {
    return hours >= kSixteenKFrom ? 60 : 10;
}

double floorSeconds(const QStringList& files, const QString& dir) {
    QFile list(dir + "/floor.txt");
    list.open(QIODevice::WriteOnly);
    for (const QString& f : files)
        list.write("file '" + f.toUtf8() + "'\n");
    list.close();
    QElapsedTimer t;
    t.start();
    ffmpeg({"-f", "concat", "-safe", "0", "-i", list.fileName(), "-ac", "1", "-ar", "16000", "-acodec",
            "pcm_s16le", dir + "/floor.wav"});
    const double s = double(t.nsecsElapsed()) / 1e9;
    QFile::remove(dir + "/floor.wav");
    return s;
}

struct Row {
    double wall = 0, stallMs = 0, rssMb = 0;
    double uploaded = 0, modelSeconds = 0;
    int modelRequests = 0, refused = 0;
    qint64 largestPrompt = 0;
    bool storyFromTranscript = false;
};

// Every moment begins where a transcript segment begins and ends where one ends (the stand-in picks
// folded lines), in the order the model gave them (the stand-in's is by time).
bool storyFromTranscript(const LocalPipeline& pipeline) {
    if (!pipeline.results() || !pipeline.lastProject())
        return false;
    QSet<double> starts, ends;
    for (const CachedSegment& s : pipeline.lastProject()->transcript) {
        starts.insert(s.start);
        ends.insert(s.end);
    }
    const QList<StorySegment>& moments = pipeline.results()->segments;
    for (qsizetype i = 0; i < moments.size(); ++i)
        if (!starts.contains(moments[i].startTime) || !ends.contains(moments[i].endTime) ||
            (i > 0 && moments[i].startTime <= moments[i - 1].startTime))
            return false;
    return !moments.isEmpty();
}

// One mine in this process; prints its row for the driver.
int runOne(int hours, double scale, double uplink, bool firstDesign, const QString& dir) {
    const QStringList files = interviewFiles(dir, hours);
    QTemporaryDir home(dir + "/home-XXXXXX");
    QProcess services;
    services.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    services.start(
        ToolPaths::platformDefault().python3,
        {ONDREL_MINE_SERVICES, "--scale", QString::number(scale), "--uplink", QString::number(uplink)});
    if (files.isEmpty() || !home.isValid() || !services.waitForReadyRead(10000))
        return 1;
    const QString host = "http://127.0.0.1:" + QString::fromUtf8(services.readLine().trimmed());

    PipelineEnvironment env = PipelineEnvironment::platformDefault();
    env.paths = AppPaths::forHome(home.path());
    env.env.insert("HOME", home.path());
    env.env.insert("OPENAI_API_KEY", "bench");
    env.env.insert("ANTHROPIC_API_KEY", "bench");
    env.endpoints.openaiHost = host;
    env.endpoints.anthropicHost = host;
    if (firstDesign) {
        env.maxOpenRequests = 1;
        env.flacUploads = false;
    }
    auto pipeline = makePipeline(env);
    pipeline->steps().getTimelineMedia =
        [files](LocalPipeline&, QString) -> QCoro::Task<std::optional<QStringList>> { co_return files; };
    pipeline->steps().buildTimelineFromSegmentsFile = [](LocalPipeline&) -> QCoro::Task<void> { co_return; };

    Row row;
    QElapsedTimer wall;
    QElapsedTimer sinceTick;
    QTimer tick;
    tick.setTimerType(Qt::PreciseTimer);
    const bool trace = qEnvironmentVariableIsSet("MINE_BENCH_TRACE");
    QObject::connect(&tick, &QTimer::timeout, [&] {
        const double late = double(sinceTick.nsecsElapsed()) / 1e6 - 10;
        row.stallMs = std::max(row.stallMs, late);
        if (trace && late > 20)
            std::fprintf(stderr, "%6.0f ms late at %.1f s after: %s\n", late,
                         double(wall.nsecsElapsed()) / 1e9,
                         qPrintable(pipeline->logs().isEmpty() ? QString() : pipeline->logs().last().text));
        sinceTick.restart();
    });
    if (trace)
        QObject::connect(pipeline->logModel(), &QAbstractItemModel::rowsInserted, [&] {
            rusage now{};
            getrusage(RUSAGE_SELF, &now);
            std::fprintf(stderr, "%7.2f s %5.0f MB  %s\n", double(wall.nsecsElapsed()) / 1e9,
                         double(now.ru_maxrss) / 1024, qPrintable(pipeline->logs().last().text));
        });
    wall.start();
    sinceTick.start();
    tick.start(10);
    QCoro::waitFor(pipeline->run("Interview", MiningMode::fullMine, storyMinutes(hours), "es", {},
                                 std::nullopt, {}, false));
    tick.stop();
    row.wall = double(wall.nsecsElapsed()) / 1e9;
    const bool complete = pipeline->step() == PipelineStep::complete;
    row.storyFromTranscript = storyFromTranscript(*pipeline);
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    row.rssMb = double(usage.ru_maxrss) / 1024;
    if (!complete)
        for (const auto& line : pipeline->logs())
            std::fprintf(stderr, "%s\n", qPrintable(line.text));

    HttpRequest ask;
    ask.url = host + "/stats";
    QNetworkAccessManager network;
    const HttpResponse stats = QCoro::waitFor(sendHttp(network, ask));
    if (const std::optional<Json> s = parseJson(stats.body)) {
        row.uploaded = (*s)["uploaded"].get<double>();
        row.modelRequests = (*s)["model"].get<int>();
        row.refused = (*s)["refused"].get<int>();
        row.largestPrompt = (*s)["largestPrompt"].get<qint64>();
        row.modelSeconds = (*s)["modelSeconds"].get<double>();
    }
    services.kill();
    services.waitForFinished();
    std::printf("%d %.3f %.1f %.1f %.0f %.3f %d %d %lld %d\n", complete ? 1 : 0, row.wall, row.stallMs,
                row.rssMb, row.uploaded, row.modelSeconds, row.modelRequests, row.refused, row.largestPrompt,
                row.storyFromTranscript ? 1 : 0);
    return complete ? 0 : 1;
}

std::optional<Row> spawn(int hours, double scale, double uplink, bool firstDesign, const QString& dir) {
    QProcess child;
    child.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    child.start(QCoreApplication::applicationFilePath(),
                {"--one", QString::number(hours), QString::number(scale), QString::number(uplink),
                 firstDesign ? "1" : "0", dir});
    child.waitForFinished(-1);
    const QList<QByteArray> f = child.readAllStandardOutput().trimmed().split(' ');
    if (f.size() != 10 || f[0] != "1")
        return std::nullopt;
    Row r;
    r.wall = f[1].toDouble();
    r.stallMs = f[2].toDouble();
    r.rssMb = f[3].toDouble();
    r.uploaded = f[4].toDouble();
    r.modelSeconds = f[5].toDouble();
    r.modelRequests = f[6].toInt();
    r.refused = f[7].toInt();
    r.largestPrompt = f[8].toLongLong();
    r.storyFromTranscript = f[9] == "1";
    return r;
}

} // namespace

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    const QStringList args = app.arguments();
    if (args.size() == 7 && args[1] == "--one")
        return runOne(args[2].toInt(), args[3].toDouble(), args[4].toDouble(), args[5] == "1", args[6]);

    QList<int> hoursList{1, 4};
    double scale = 1;
    double uplink = 20;
    QString dirArg;
    QString only; // "instant" or "realistic": those rows alone
    for (int i = 1; i + 1 < args.size(); i += 2) {
        if (args[i] == "--hours") {
            hoursList.clear();
            for (const QString& h : args[i + 1].split(','))
                hoursList << h.toInt();
        } else if (args[i] == "--scale") {
            scale = args[i + 1].toDouble();
        } else if (args[i] == "--uplink") {
            uplink = args[i + 1].toDouble();
        } else if (args[i] == "--dir") {
            dirArg = args[i + 1];
        } else if (args[i] == "--only") {
            only = args[i + 1];
        }
    }
    QTemporaryDir temp;
    const QString dir = dirArg.isEmpty() ? temp.path() : dirArg;
    QDir().mkpath(dir);
    const double bytesPerSecond = uplink * 1e6 / 8;

    std::printf("Whole Full Mine, %d files an hour; realistic latency x %.2f over a %.0f Mbit/s uplink\n\n",
                kFilesPerHour, scale, uplink);
    std::printf("%-5s %-10s %-6s %7s %7s %6s %5s %7s %7s %6s %6s %5s %6s %7s %5s\n", "hours", "services",
                "design", "wall s", "local s", "floor", "ratio", "MB up", "uplink", "/upl", "model", "stall",
                "RSS", "model", "max");
    std::printf("%-5s %-10s %-6s %7s %7s %6s %5s %7s %7s %6s %6s %5s %6s %7s %5s\n", "", "", "", "", "", "s",
                "", "", "floor s", "floor", "s", "ms", "MB", "reqs", "/bud");
    for (const int hours : hoursList) {
        if (interviewFiles(dir, hours).isEmpty())
            return 1;
        const double floor = floorSeconds(interviewFiles(dir, hours), dir);
        struct Run {
            const char* services;
            const char* design;
            double scale, uplink;
            bool firstDesign;
        };
        QList<Run> runs{{"instant", "now", 0, 0, false}, {"realistic", "now", scale, uplink, false}};
        if (hours == 4)
            runs.push_back({"realistic", "first", scale, uplink, true});
        double local = 0, now = 0, first = 0;
        std::optional<Row> nowRow;
        for (const Run& run : runs) {
            if (!only.isEmpty() && only != QLatin1String(run.services))
                continue;
            const std::optional<Row> r = spawn(hours, run.scale, run.uplink, run.firstDesign, dir);
            if (!r) {
                std::printf("%-5d %-10s %-6s  run failed\n", hours, run.services, run.design);
                std::fflush(stdout);
                continue;
            }
            const double uplinkFloor = r->uploaded / bytesPerSecond;
            const bool instant = run.scale == 0;
            if (instant)
                local = r->wall;
            else if (run.firstDesign)
                first = r->wall;
            else {
                now = r->wall;
                nowRow = r;
            }
            std::printf("%-5d %-10s %-6s %7.1f %7s %6s %5s %7.0f %7s %6s %6.0f %5.0f %6.0f %7d %5.2f%s%s\n",
                        hours, run.services, run.design, r->wall,
                        instant ? qPrintable(QString::number(r->wall, 'f', 1)) : "",
                        instant ? qPrintable(QString::number(floor, 'f', 1)) : "",
                        instant ? qPrintable(QString::number(r->wall / floor, 'f', 2)) : "",
                        r->uploaded / 1e6, instant ? "" : qPrintable(QString::number(uplinkFloor, 'f', 0)),
                        instant ? "" : qPrintable(QString::number(r->wall / uplinkFloor, 'f', 2)),
                        r->modelSeconds, r->stallMs, r->rssMb, r->modelRequests,
                        double(r->largestPrompt) / double(kStoryPromptBudgetChars),
                        r->storyFromTranscript ? "" : "  (a moment not from the transcript)",
                        r->refused > 0
                            ? qPrintable(QStringLiteral("  (%1 refused: over the context)").arg(r->refused))
                            : "");
            std::fflush(stdout);
        }
        if (nowRow) {
            const double uplinkFloor = nowRow->uploaded / bytesPerSecond;
            std::printf("%-5d time to story %.0f s; 1.25 x uplink floor + model %.0f s: %s\n", hours, now,
                        1.25 * uplinkFloor + nowRow->modelSeconds,
                        now <= 1.25 * uplinkFloor + nowRow->modelSeconds ? "met" : "NOT met");
        }
        if (first > 0 && now > 0)
            std::printf("%-5d realistic wall, now / first design: %.2f\n", hours, now / first);
        if (local > 0)
            std::printf("%-5d local work / one decode: %.2f\n", hours, local / floor);
        std::fflush(stdout);
    }
    return 0;
}

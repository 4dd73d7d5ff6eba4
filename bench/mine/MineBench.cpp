// Times a whole Full Mine in one process over hours of generated interview audio in several files,
// with the speech and language-model services stood in on loopback (services.py, its own process)
// at two speeds: instant, and a realistic latency (speech 6 s per 300 s chunk, language model
// 20 s, word timing 2 s a moment), times --scale. Resolve is stood in too: the timeline's files are
// given, and the build does nothing. Each run goes in a process of its own, so its peak RSS and
// the transcript cache (one launch) are its own.
//
// Local work = the wall time with instant services: everything but waiting for them. Floor = one
// ffmpeg decode of the same sources to the extraction's format. Stall = the longest a 10 ms timer
// on the main thread came late. Every run is repeated with one request open at a time.
//
// Run: cmake --build <dir> --target mine_bench && <dir>/bench/mine/mine_bench [--hours 1,4]
//      [--scale 1] [--dir D]   (the sources, about 0.5 GB an hour, go to a temporary folder unless --dir)
#include "app/PipelineWiring.h"

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>
#include <QTimer>

#include <QCoroTask>

#include <sys/resource.h>

#include <algorithm>
#include <cstdio>
#include <optional>

using namespace ondrel;

namespace {

constexpr int kFilesPerHour = 3;    // 20-minute takes
constexpr int kMomentsPerHour = 10; // 15-second moments: a story of about 2.5 minutes an hour

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

// Speech-like: pink noise in syllable bursts of about 4 Hz with a pause every few seconds, as the
// 48 kHz 24-bit WAV of a field recorder. Three distinct takes, linked under as many names as needed.
QStringList interviewFiles(const QString& dir, int hours) {
    QStringList files;
    for (int i = 0; i < hours * kFilesPerHour; ++i) {
        const QString take = dir + QStringLiteral("/take_%1.wav").arg(i % kFilesPerHour);
        if (!QFile::exists(take) &&
            !ffmpeg({"-f", "lavfi", "-i",
                     QStringLiteral("anoisesrc=color=pink:r=48000:a=0.4:seed=%1").arg(11 + i), "-af",
                     "volume='if(lt(mod(t,7.3),5.1),0.15+0.85*abs(sin(2*PI*3.9*t)),0.01)':eval=frame", "-t",
                     "1200", "-ac", "1", "-c:a", "pcm_s24le", take}))
            return {};
        files << dir + QStringLiteral("/A%1_T%2.wav").arg(hours).arg(i, 3, 10, QLatin1Char('0'));
        if (!QFile::exists(files.last()) && !QFile::link(take, files.last()))
            return {};
    }
    return files;
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
    bool complete = false;
};

// One mine in this process; prints its row for the driver.
int runOne(int hours, double scale, int maxOpen, const QString& dir) {
    const QStringList files = interviewFiles(dir, hours);
    QTemporaryDir home(dir + "/home-XXXXXX");
    QProcess services;
    services.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    services.start(ToolPaths::platformDefault().python3,
                   {ONDREL_MINE_SERVICES, "--scale", QString::number(scale), "--seconds",
                    QString::number(hours * 3600), "--moments", QString::number(hours * kMomentsPerHour)});
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
    env.maxOpenRequests = maxOpen;
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
            std::fprintf(stderr, "%7.2f s  %s\n", double(wall.nsecsElapsed()) / 1e9,
                         qPrintable(pipeline->logs().last().text));
        });
    wall.start();
    sinceTick.start();
    tick.start(10);
    QCoro::waitFor(pipeline->run("Interview", MiningMode::fullMine, 10, "es", {}, std::nullopt, {}, false));
    tick.stop();
    row.wall = double(wall.nsecsElapsed()) / 1e9;
    row.complete = pipeline->step() == PipelineStep::complete;
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    row.rssMb = double(usage.ru_maxrss) / 1024;
    if (!row.complete)
        for (const auto& line : pipeline->logs())
            std::fprintf(stderr, "%s\n", qPrintable(line.text));
    services.kill();
    services.waitForFinished();
    std::printf("%d %.3f %.1f %.1f\n", row.complete ? 1 : 0, row.wall, row.stallMs, row.rssMb);
    return row.complete ? 0 : 1;
}

std::optional<Row> spawn(int hours, double scale, int maxOpen, const QString& dir) {
    QProcess child;
    child.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    child.start(QCoreApplication::applicationFilePath(),
                {"--one", QString::number(hours), QString::number(scale), QString::number(maxOpen), dir});
    child.waitForFinished(-1);
    const QList<QByteArray> f = child.readAllStandardOutput().trimmed().split(' ');
    if (f.size() != 4 || f[0] != "1")
        return std::nullopt;
    return Row{f[1].toDouble(), f[2].toDouble(), f[3].toDouble(), true};
}

} // namespace

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    const QStringList args = app.arguments();
    if (args.size() == 6 && args[1] == "--one")
        return runOne(args[2].toInt(), args[3].toDouble(), args[4].toInt(), args[5]);

    QList<int> hoursList{1, 4};
    double scale = 1;
    QString dirArg;
    for (int i = 1; i + 1 < args.size(); i += 2) {
        if (args[i] == "--hours") {
            hoursList.clear();
            for (const QString& h : args[i + 1].split(','))
                hoursList << h.toInt();
        } else if (args[i] == "--scale") {
            scale = args[i + 1].toDouble();
        } else if (args[i] == "--dir") {
            dirArg = args[i + 1];
        }
    }
    QTemporaryDir temp;
    const QString dir = dirArg.isEmpty() ? temp.path() : dirArg;
    QDir().mkpath(dir);

    std::printf("Whole Full Mine, %d files an hour, %d moments an hour; realistic latency x %.2f\n\n",
                kFilesPerHour, kMomentsPerHour, scale);
    std::printf("%-6s %-10s %5s %9s %9s %8s %6s %9s %8s\n", "hours", "services", "open", "wall s", "local s",
                "floor s", "ratio", "stall ms", "RSS MB");
    for (const int hours : hoursList) {
        if (interviewFiles(dir, hours).isEmpty())
            return 1;
        const double floor = floorSeconds(interviewFiles(dir, hours), dir);
        double realistic[2] = {0, 0}; // 4 open, 1 open
        for (const double s : {0.0, scale}) {
            for (const int open : {4, 1}) {
                const std::optional<Row> r = spawn(hours, s, open, dir);
                if (!r) {
                    std::printf("%-6d %-10s %5d  run failed\n", hours, s == 0 ? "instant" : "realistic",
                                open);
                    continue;
                }
                if (s == 0)
                    std::printf("%-6d %-10s %5d %9.1f %9.1f %8.1f %6.2f %9.0f %8.0f\n", hours, "instant",
                                open, r->wall, r->wall, floor, r->wall / floor, r->stallMs, r->rssMb);
                else
                    std::printf("%-6d %-10s %5d %9.1f %9s %8s %6s %9.0f %8.0f\n", hours, "realistic", open,
                                r->wall, "", "", "", r->stallMs, r->rssMb);
                if (s != 0)
                    realistic[open == 1] = r->wall;
                std::fflush(stdout);
            }
        }
        if (realistic[0] > 0 && realistic[1] > 0)
            std::printf("%-6d realistic wall, 4 open / 1 open: %.2f\n", hours, realistic[0] / realistic[1]);
    }
    return 0;
}

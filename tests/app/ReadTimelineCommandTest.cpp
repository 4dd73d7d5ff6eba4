// `ondrel-manager --read-timeline FILE`, run as a script would: the hand-off files of a story over a
// real camera file read back line by line, in seconds from that file's first frame; an unreadable
// file's reason; and no display, no running instance and no file written on the way.
#include "support/TestEnv.h"

#include "core/Json.h"
#include "interchange/Interchange.h"

#include <QDir>
#include <QDirIterator>
#include <QLocalServer>
#include <QProcess>

#include <gtest/gtest.h>

using namespace ondrel;
using namespace ondrel::interchange;

namespace {

struct CommandRun {
    int exitCode = -1;
    QByteArray out;
    QByteArray err;
};

CommandRun readTimeline(const QStringList& args, const QProcessEnvironment& env) {
    QProcess p;
    p.setProcessEnvironment(env);
    p.start(QStringLiteral(ONDREL_APP_BINARY), QStringList{"--read-timeline"} + args);
    CommandRun r;
    if (!p.waitForFinished(60000)) {
        p.kill();
        p.waitForFinished();
        return r;
    }
    r.exitCode = p.exitStatus() == QProcess::NormalExit ? p.exitCode() : -2;
    r.out = p.readAllStandardOutput();
    r.err = p.readAllStandardError();
    return r;
}

// A headless environment: no display to open, and the home's own runtime folder.
QProcessEnvironment headless(const test::TestHome& home) {
    QProcessEnvironment env = home.environment();
    env.remove("DISPLAY");
    env.remove("WAYLAND_DISPLAY");
    env.remove("QT_QPA_PLATFORM");
    return env;
}

std::optional<Json> probe(const QString& path) {
    QProcess p;
    p.start("/usr/bin/ffprobe",
            {"-v", "quiet", "-print_format", "json", "-show_format", "-show_streams", path});
    if (!p.waitForFinished(30000))
        return std::nullopt;
    return parseJson(p.readAllStandardOutput());
}

QStringList filesIn(const QString& folder) {
    QStringList files;
    QDirIterator it(folder, QDir::Files | QDir::Hidden | QDir::NoDotAndDotDot, QDirIterator::Subdirectories);
    while (it.hasNext())
        files << it.next();
    files.sort();
    return files;
}

TEST(ReadTimelineCommand, EveryHandOffFileReadsBackInSecondsFromTheCameraFileFirstFrame) {
    test::TestHome home;
    const QString media = home.path() + "/media/cam A.mov";
    QDir().mkpath(home.path() + "/media");
    QProcess ffmpeg;
    ffmpeg.start("/usr/bin/ffmpeg", {"-v",        "error",
                                     "-f",        "lavfi",
                                     "-i",        "testsrc=size=160x90:rate=25",
                                     "-f",        "lavfi",
                                     "-i",        "sine=frequency=300:sample_rate=48000",
                                     "-t",        "8",
                                     "-timecode", "10:00:00:00",
                                     "-c:v",      "libx264",
                                     "-c:a",      "aac",
                                     "-shortest", media});
    ASSERT_TRUE(ffmpeg.waitForFinished(60000) && ffmpeg.exitCode() == 0)
        << ffmpeg.readAllStandardError().toStdString();
    const std::optional<Json> answer = probe(media);
    ASSERT_TRUE(answer);
    StorySegment first;
    first.index = 0;
    first.startTime = 1.3;
    first.endTime = 3.0;
    first.chapter = "Opening";
    StorySegment second = first;
    second.index = 1;
    second.startTime = 5.0;
    second.endTime = 6.5;
    const EditTimeline t = buildTimeline("Story", {first, second}, {sourceMediaFromProbe(media, *answer)});
    ASSERT_EQ(t.media.size(), 1);
    ASSERT_EQ(t.media[0].start, Rational::of(36000)) << "the camera's own timecode";
    const QString folder = home.path() + "/exports/Story";
    ASSERT_TRUE(writeInterchangeFiles(t, folder));

    const QStringList before = filesIn(home.path());
    for (const QString& file :
         {kFcpxmlFileName, kFcpxml110FileName, kFcp7XmlFileName, kOtioFileName, kEdlFileName}) {
        SCOPED_TRACE(file.toStdString());
        const CommandRun r = readTimeline({folder + "/" + file}, headless(home));
        ASSERT_EQ(r.exitCode, 0) << r.err.toStdString();
        // An EDL names no rate: the camera file it cuts settles it.
        EXPECT_EQ(r.err, file == kEdlFileName
                             ? QByteArray("“story_edit.edl” does not say its frame rate; it was read "
                                          "at 25 fps, the rate of cam A.mov.\n")
                             : QByteArray());
        QList<QByteArray> lines = r.out.split('\n');
        ASSERT_EQ(lines.takeLast(), "");
        qsizetype expected = 0;
        for (const Track& track : t.tracks) {
            // Final Cut cuts a file's sound once, whatever its channels.
            const bool cut = !(file.endsWith(".fcpxml") && track.name == "A2");
            for (const Clip& clip : track.clips) {
                if (!cut)
                    continue;
                ASSERT_LT(expected, lines.size());
                const Json line = Json::parse(lines[expected++].toStdString());
                EXPECT_EQ(line["track"], track.name.toStdString());
                EXPECT_EQ(line["name"], "cam A.mov");
                EXPECT_EQ(line["path"], media.toStdString());
                EXPECT_EQ(line["rate"], "25/1");
                EXPECT_DOUBLE_EQ(line["sourceIn"].get<double>(), (clip.sourceIn - 900000) / 25.0);
                EXPECT_DOUBLE_EQ(line["sourceOut"].get<double>(), (clip.sourceOut - 900000) / 25.0);
                EXPECT_DOUBLE_EQ(line["recordIn"].get<double>(), clip.recordIn / 25.0);
                EXPECT_DOUBLE_EQ(line["recordOut"].get<double>(), clip.recordOut() / 25.0);
            }
        }
        EXPECT_EQ(expected, lines.size());
    }
    EXPECT_EQ(filesIn(home.path()), before) << "a reading writes nothing";
}

TEST(ReadTimelineCommand, AnUnreadableFileGivesItsReasonAndStatusOne) {
    test::TestHome home;
    const QString notes = home.path() + "/notes.txt";
    ASSERT_TRUE(test::writeFile(notes, "call Maria back\n"));
    struct Case {
        QStringList args;
        QByteArray err;
    };
    const Case cases[] = {
        {{notes},
         "“notes.txt” is none of the timeline formats Ondrel Manager reads: FCPXML, FCP 7 XML, "
         "OpenTimelineIO or a "
         "CMX 3600 EDL.\n"},
        {{home.path() + "/gone.fcpxml"}, "“gone.fcpxml” was not found.\n"},
        {{}, "--read-timeline needs the timeline file to read.\n"},
    };
    for (const Case& c : cases) {
        const CommandRun r = readTimeline(c.args, headless(home));
        EXPECT_EQ(r.exitCode, 1);
        EXPECT_EQ(r.out, "");
        EXPECT_EQ(r.err, c.err);
    }
}

TEST(ReadTimelineCommand, ARunningWindowDoesNotTakeTheReading) {
    test::TestHome home;
    // Stands in for a running instance: a launch that hands off would connect here.
    QLocalServer running;
    QDir().mkpath(home.runtimeDir());
    ASSERT_TRUE(running.listen(home.runtimeDir() + "/ondrel-manager.socket"));
    const QString edl = home.path() + "/cut.edl";
    ASSERT_TRUE(
        test::writeFile(edl, "TITLE: Cut\nFCM: NON-DROP FRAME\n\n"
                             "001  AX       V     C        01:00:00:00 01:00:01:00 01:00:00:00 01:00:01:00\n"
                             "* FROM CLIP NAME: gone.mov\n"));
    const CommandRun r = readTimeline({edl}, headless(home));
    EXPECT_EQ(r.exitCode, 0) << r.err.toStdString();
    EXPECT_EQ(r.out,
              "{\"track\":\"V1\",\"name\":\"gone.mov\",\"path\":null,\"rate\":\"24/1\",\"sourceIn\":null,"
              "\"sourceOut\":null,\"recordIn\":0.0,\"recordOut\":1.0}\n");
    EXPECT_EQ(r.err,
              "“cut.edl” does not say its frame rate; it was read at 24 fps, the slowest its frame counts "
              "allow.\n“cut.edl” uses a media file that was not found: gone.mov.\n");
    EXPECT_FALSE(running.hasPendingConnections());
}

} // namespace

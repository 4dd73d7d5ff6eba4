#include "core/Platform.h"
#include "core/Clock.h"
#include "core/Files.h"
#include "core/MediaClock.h"
#include "support/TestEnv.h"

#include <QCoreApplication>
#include <QFileInfo>
#include <QHash>
#include <QThread>

#include <QCoroTask>

#include <gtest/gtest.h>

#include <cmath>

using namespace ondrel;

TEST(Endpoints, BaseUrlsReadLikeTheVendorsSdks) {
    struct Case {
        const char* openai;
        const char* anthropic;
        QString transcriptions;
        QString messages;
    } cases[] = {
        {nullptr, nullptr, "https://api.openai.com/v1/audio/transcriptions",
         "https://api.anthropic.com/v1/messages"},
        {"http://127.0.0.1:9/v1", "http://127.0.0.1:8", "http://127.0.0.1:9/v1/audio/transcriptions",
         "http://127.0.0.1:8/v1/messages"},
        {"http://proxy/v1/", "http://proxy/claude/", "http://proxy/v1/audio/transcriptions",
         "http://proxy/claude/v1/messages"},
        {"", "", "https://api.openai.com/v1/audio/transcriptions", "https://api.anthropic.com/v1/messages"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.transcriptions.toStdString());
        QProcessEnvironment env;
        if (c.openai)
            env.insert("OPENAI_BASE_URL", c.openai);
        if (c.anthropic)
            env.insert("ANTHROPIC_BASE_URL", c.anthropic);
        const Endpoints e = Endpoints::fromEnvironment(env);
        EXPECT_EQ(e.transcriptionsUrl(), c.transcriptions);
        EXPECT_EQ(e.messagesUrl(), c.messages);
    }
}

TEST(Clock, ShortTimeOfDayIsHoursAndMinutesInEveryLocale) {
    const std::pair<const char*, QString> cases[] = {
        {"C", "15:45"},        {"en_US", "3:45 PM"},   {"fi_FI", "15.45"},
        {"bg_BG", "15:45 ч."}, {"ko_KR", "오후 3:45"}, {"de_DE", "15:45"},
    };
    for (const auto& [locale, text] : cases)
        EXPECT_EQ(shortTimeOfDay(QTime(15, 45, 12), QLocale(locale)), text) << locale;
}

// A story time finds the file extraction laid there: files in code-point order, each as long as
// its container, an unreadable one taking no room.
TEST(MediaClock, TimesFindTheirFileAndOffset) {
    const QHash<QString, double> lengths{
        {"/m/b.wav", 100}, {"/m/A.mov", 50}, {"/m/c.wav", 0}, {"/m/d.wav", 30}};
    const QList<ClockSpan> clock = layOutClock({"/m/d.wav", "/m/b.wav", "/m/c.wav", "/m/A.mov"},
                                               [&](const QString& p) { return lengths[p]; });
    EXPECT_EQ(
        clock,
        (QList<ClockSpan>{
            {"/m/A.mov", 0, 50}, {"/m/b.wav", 50, 150}, {"/m/c.wav", 150, 150}, {"/m/d.wav", 150, 180}}));
    const struct {
        double time;
        std::optional<ClockPlace> place;
    } cases[] = {
        {0, ClockPlace{"/m/A.mov", 0, 50}},    {49.5, ClockPlace{"/m/A.mov", 49.5, 50}},
        {50, ClockPlace{"/m/b.wav", 0, 100}},  {150, ClockPlace{"/m/d.wav", 0, 30}},
        {200, ClockPlace{"/m/d.wav", 50, 30}}, {-1, std::nullopt},
        {std::nan(""), std::nullopt},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.time);
        EXPECT_EQ(placeOnClock(clock, c.time), c.place);
    }
    EXPECT_EQ(placeOnClock(layOutClock({"/x"}, [](const QString&) { return 0.0; }), 1), std::nullopt);
}

// Writes collected during a step go out at its commit, in order, off the window's thread: bytes
// made later are made there too, and a maker that gives nothing writes nothing. Outside a
// collect, the bytes are made and written at once.
TEST(DeferredWritesTest, BytesMadeLaterAreMadeOffTheWindowsThreadInOrder) {
    test::TestHome home;
    const QString dir = home.path();
    QList<bool> madeOnThisThread;
    DeferredWrites writes;
    writes.collect([&] {
        writeFileAtomically(dir + "/a", "1");
        writeFileAtomicallyLater(dir + "/b", [&] {
            madeOnThisThread << (QThread::currentThread() == qApp->thread());
            return std::optional<QByteArray>("2");
        });
        writeFileAtomicallyLater(dir + "/c", [] { return std::optional<QByteArray>(); });
        writeFileAtomically(dir + "/b", "3");
    });
    EXPECT_FALSE(QFileInfo::exists(dir + "/a")) << "written before the commit";
    EXPECT_TRUE(madeOnThisThread.isEmpty());
    QCoro::waitFor(writes.commit());
    EXPECT_EQ(test::readFile(dir + "/a"), "1");
    EXPECT_EQ(test::readFile(dir + "/b"), "3");
    EXPECT_FALSE(QFileInfo::exists(dir + "/c"));
    EXPECT_EQ(madeOnThisThread, QList<bool>{false});

    writeFileAtomicallyLater(dir + "/d", [] { return std::optional<QByteArray>("4"); });
    EXPECT_EQ(test::readFile(dir + "/d"), "4");
}

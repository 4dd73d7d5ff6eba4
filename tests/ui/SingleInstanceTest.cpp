// The socket that hands a browser's sign-in token to the running window: where it lies, who may
// open it, and whom each end believes.
#include "ui/SingleInstance.h"
#include "support/TestEnv.h"

#include <QDir>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>

#include <future>

#include <gtest/gtest.h>

#include <sys/stat.h>
#include <unistd.h>

using namespace ondrel;
using ondrel::test::waitFor;

namespace {

int modeOf(const QString& path) {
    struct stat info {};
    if (::lstat(QFile::encodeName(path).constData(), &info) != 0)
        return -1;
    return info.st_mode & 07777;
}

void makeFolder(const QString& path, int mode) {
    ASSERT_TRUE(QDir().mkpath(path));
    ASSERT_EQ(::chmod(QFile::encodeName(path).constData(), mode), 0);
}

// Runs `work` on a thread of its own while this one serves the sockets, as a second process would.
template <typename F> auto fromAnotherLaunch(F work) {
    auto result = std::async(std::launch::async, work);
    EXPECT_TRUE(
        waitFor([&] { return result.wait_for(std::chrono::seconds(0)) == std::future_status::ready; }));
    return result.get();
}

} // namespace

TEST(SingleInstance, TheSocketLiesWhereOnlyThisUserReachesIt) {
    QTemporaryDir tmp;
    const uid_t me = ::getuid();
    // Each case has a temporary folder of its own ("<case>/tmp") and may have a runtime folder
    // ("<case>/run"); %T and %R stand for them.
    struct Case {
        const char* name;
        std::function<void(const QString& temp, const QString& run)> prepare;
        bool runtime; // XDG_RUNTIME_DIR set to "<case>/run"
        QString override;
        uid_t uid;
        QString path;    // expected, "" when refused
        QString problem; // expected, with %F for the folder of our own
    } cases[] = {
        {"the runtime folder", [](auto&, auto& run) { makeFolder(run, 0700); }, true, "", me,
         "%R/ondrel-manager.socket", ""},
        {"a bare name in the runtime folder", [](auto&, auto& run) { makeFolder(run, 0700); }, true,
         "tests-1", me, "%R/tests-1", ""},
        {"a path as given", [](auto&, auto& run) { makeFolder(run, 0700); }, true, "/somewhere/else.socket",
         me, "/somewhere/else.socket", ""},
        {"no runtime folder", [](auto&, auto&) {}, false, "", me, "%F/ondrel-manager.socket", ""},
        {"a runtime folder open to others", [](auto&, auto& run) { makeFolder(run, 0755); }, true, "", me,
         "%F/ondrel-manager.socket", ""},
        {"a runtime folder that is a link",
         [](auto& temp, auto& run) {
             makeFolder(temp + "/real", 0700);
             ASSERT_TRUE(QFile::link(temp + "/real", run));
         },
         true, "", me, "%F/ondrel-manager.socket", ""},
        {"a bare name in our folder", [](auto&, auto&) {}, false, "tests-2", me, "%F/tests-2", ""},
        {"our folder open to others",
         [&](auto& temp, auto&) {
             makeFolder(temp + "/ondrel-manager-runtime-" + QString::number(me), 0755);
         },
         false, "", me, "", "%F is open to other users (mode 0755)"},
        // Made by this test's user, so another user's for the uid asked about.
        {"our folder made by another user",
         [&](auto& temp, auto& run) {
             makeFolder(run, 0700);
             makeFolder(temp + "/ondrel-manager-runtime-" + QString::number(me + 1), 0700);
         },
         true, "", me + 1, "", "%F belongs to another user"},
        {"our folder as a link to a private one",
         [&](auto& temp, auto&) {
             makeFolder(temp + "/real", 0700);
             ASSERT_TRUE(
                 QFile::link(temp + "/real", temp + "/ondrel-manager-runtime-" + QString::number(me)));
         },
         false, "", me, "", "%F is not a folder"},
        {"an earlier version's socket in the temporary folder",
         [&](auto& temp, auto&) {
             ASSERT_TRUE(test::writeFile(temp + "/ondrel-manager-" + QString::number(me), ""));
         },
         false, "", me, "%F/ondrel-manager.socket", ""},
        {"our folder as a file",
         [&](auto& temp, auto&) {
             ASSERT_TRUE(test::writeFile(temp + "/ondrel-manager-runtime-" + QString::number(me), "x"));
         },
         false, "", me, "", "%F is not a folder"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        const QString base = tmp.path() + "/" + c.name;
        const QString temp = base + "/tmp";
        const QString run = base + "/run";
        makeFolder(temp, 0777);
        c.prepare(temp, run);
        QProcessEnvironment env;
        env.insert("TMPDIR", temp);
        if (c.runtime)
            env.insert("XDG_RUNTIME_DIR", run);
        if (!c.override.isEmpty())
            env.insert("ONDREL_INSTANCE_SOCKET", c.override);
        const QString ours = temp + "/ondrel-manager-runtime-" + QString::number(c.uid);
        auto expand = [&](QString s) { return s.replace("%R", run).replace("%F", ours); };

        const InstanceSocket socket = SingleInstance::socketPath(env, c.uid);
        EXPECT_EQ(socket.path, expand(c.path));
        EXPECT_EQ(socket.problem, expand(c.problem));
        if (socket.path.startsWith(ours)) {
            EXPECT_EQ(modeOf(ours), 0700) << "the folder of our own is made closed to others";
        }
    }
}

// Even in a folder others may enter, the socket itself opens only to its user; and a running
// instance keeps its socket when another launch tries to listen on it.
TEST(SingleInstance, ListeningLeavesASocketOnlyItsUserCanOpen) {
    QTemporaryDir tmp;
    makeFolder(tmp.path() + "/open", 0777);
    const QString path = tmp.path() + "/open/ondrel-manager.socket";
    SingleInstance first;
    ASSERT_TRUE(first.listen(path)) << first.errorString().toStdString();
    EXPECT_EQ(modeOf(path) & 077, 0) << std::oct << modeOf(path);

    SingleInstance second;
    EXPECT_FALSE(second.listen(path));
    QStringList received;
    QObject::connect(&first, &SingleInstance::urlReceived, [&](const QString& url) { received << url; });
    EXPECT_EQ(
        fromAnotherLaunch([&] { return SingleInstance::handOff(path, "ondrel-manager://callback?token=T"); }),
        SingleInstance::HandOff::handedOver);
    EXPECT_EQ(received, QStringList({"ondrel-manager://callback?token=T"}));
}

// A user is a number to each end; the tests stand another user in by expecting one number more.
TEST(SingleInstance, EachEndTrustsOnlyItsOwnUser) {
    QTemporaryDir tmp;
    const uid_t me = ::getuid();
    const QString ours = tmp.path() + "/ours.socket";
    const QString strangers = tmp.path() + "/strangers.socket";
    SingleInstance running;
    ASSERT_TRUE(running.listen(ours));
    // An instance that expects another user, so this test's launches come from a stranger to it.
    SingleInstance strangersInstance(me + 1);
    ASSERT_TRUE(strangersInstance.listen(strangers));
    QStringList received;
    QObject::connect(&running, &SingleInstance::urlReceived, [&](const QString& url) { received << url; });
    QObject::connect(&strangersInstance, &SingleInstance::urlReceived,
                     [&](const QString& url) { received << "stranger got " + url; });
    QObject::connect(&strangersInstance, &SingleInstance::raiseRequested,
                     [&] { received << "stranger raised"; });

    using HandOff = SingleInstance::HandOff;
    struct Case {
        const char* name;
        QString path;
        uid_t launcher;
        HandOff outcome;
        bool running; // what the launcher's question "is one of mine running there?" finds
    } cases[] = {
        {"a launch of another user is told nothing", ours, me + 1, HandOff::otherUser, false},
        // The stranger's instance runs in this process, so the launch takes it for its own.
        {"an instance does not hear a launch of another user", strangers, me, HandOff::noAnswer, true},
        {"nobody listens", tmp.path() + "/none.socket", me, HandOff::noInstance, false},
        {"our launch and our instance", ours, me, HandOff::handedOver, true},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        const QString url = QStringLiteral("ondrel-manager://callback?token=%1").arg(c.name);
        EXPECT_EQ(fromAnotherLaunch([&] { return SingleInstance::handOff(c.path, url, c.launcher); }),
                  c.outcome);
        EXPECT_EQ(fromAnotherLaunch([&] { return SingleInstance::isRunning(c.path, c.launcher); }),
                  c.running);
    }
    // Only the last case's token arrived, and it arrived once: the refused ones were never sent or
    // never read.
    EXPECT_EQ(received, QStringList({"ondrel-manager://callback?token=our launch and our instance"}));
}

// With real users (root can take another's identity for a child): the peer's user is the system's
// word, not a claim.
TEST(SingleInstance, ARealStrangerIsNeitherHeardNorTold) {
    if (::geteuid() != 0 || !QFile::exists("/usr/bin/setpriv"))
        GTEST_SKIP() << "needs root and setpriv to act as another user";
    QTemporaryDir tmp;
    ASSERT_EQ(::chmod(QFile::encodeName(tmp.path()).constData(), 0711), 0);
    makeFolder(tmp.path() + "/shared", 0777);
    const QStringList asNobody = {"--reuid=65534", "--regid=65534", "--clear-groups", "/usr/bin/python3",
                                  "-c"};

    // A stranger's listener where ours should be: it is handed nothing.
    const QString trap = tmp.path() + "/shared/trap.socket";
    QProcess stranger;
    stranger.start("setpriv", asNobody + QStringList{"import socket, sys\n"
                                                     "s = socket.socket(socket.AF_UNIX)\n"
                                                     "s.bind(sys.argv[1]); s.listen(1)\n"
                                                     "print('ready', flush=True)\n"
                                                     "c, _ = s.accept()\n"
                                                     "print('got', repr(c.recv(4096)), flush=True)\n",
                                                     trap});
    ASSERT_TRUE(waitFor([&] { return stranger.canReadLine() || stranger.state() == QProcess::NotRunning; }));
    ASSERT_EQ(stranger.readLine(), "ready\n") << stranger.readAllStandardError().toStdString();
    EXPECT_EQ(
        fromAnotherLaunch([&] { return SingleInstance::handOff(trap, "ondrel-manager://callback?token=T"); }),
        SingleInstance::HandOff::otherUser);
    ASSERT_TRUE(waitFor([&] { return stranger.state() == QProcess::NotRunning; }));
    EXPECT_EQ(stranger.readAllStandardOutput(), "got b''\n");

    // A stranger's launch at our instance, its socket opened to everyone on purpose: not heard.
    const QString ours = tmp.path() + "/shared/ours.socket";
    SingleInstance running;
    ASSERT_TRUE(running.listen(ours));
    ASSERT_EQ(::chmod(QFile::encodeName(ours).constData(), 0777), 0);
    QStringList received;
    QObject::connect(&running, &SingleInstance::urlReceived, [&](const QString& url) { received << url; });
    QProcess launch;
    launch.start("setpriv",
                 asNobody + QStringList{"import socket, sys\n"
                                        "s = socket.socket(socket.AF_UNIX)\n"
                                        "s.connect(sys.argv[1])\n"
                                        "try:\n"
                                        "    s.sendall(b'open ondrel-manager://callback?token=S\\n')\n"
                                        "    answer = s.recv(4096)\n"
                                        "except (BrokenPipeError, ConnectionResetError):\n"
                                        "    answer = b''\n"
                                        "print('answer', repr(answer), flush=True)\n",
                                        ours});
    ASSERT_TRUE(waitFor([&] { return launch.state() == QProcess::NotRunning; }));
    EXPECT_EQ(launch.readAllStandardOutput(), "answer b''\n") << launch.readAllStandardError().toStdString();
    EXPECT_TRUE(received.isEmpty());
}

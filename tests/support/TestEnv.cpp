#include "TestEnv.h"

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QThread>

namespace ondrel::test {

QString fixturesDir() {
    return QStringLiteral(ONDREL_FIXTURES_DIR);
}
QString fakeResolveModuleDir() {
    return fixturesDir() + QStringLiteral("/resolve");
}

bool waitFor(const std::function<bool()>& done, int ms) {
    QElapsedTimer t;
    t.start();
    while (!done() && t.elapsed() < ms) {
        QCoreApplication::processEvents(QEventLoop::AllEvents, 10);
        QThread::msleep(2);
    }
    return done();
}

bool writeFile(const QString& path, const QByteArray& bytes) {
    QDir().mkpath(QFileInfo(path).absolutePath());
    QFile f(path);
    if (!f.open(QIODevice::WriteOnly | QIODevice::Truncate))
        return false;
    return f.write(bytes) == bytes.size();
}

QByteArray readFile(const QString& path) {
    QFile f(path);
    if (!f.open(QIODevice::ReadOnly))
        return {};
    return f.readAll();
}

TestHome::TestHome() {
    m_paths = AppPaths::forHome(m_dir.path());
    m_paths.resolveScriptApi = fixturesDir();
    m_paths.resolveScriptLib = fakeResolveModuleDir();
    QDir().mkpath(runtimeDir());
    QFile::setPermissions(runtimeDir(),
                          QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ExeOwner);
}

QProcessEnvironment TestHome::environment() const {
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.insert(QStringLiteral("HOME"), m_dir.path());
    env.insert(QStringLiteral("ONDREL_FAKE_RESOLVE_STATE"), resolveStateFile());
    env.insert(QStringLiteral("XDG_RUNTIME_DIR"), runtimeDir());
    env.remove(QStringLiteral("ONDREL_INSTANCE_SOCKET"));
    env.remove(QStringLiteral("OPENAI_API_KEY"));
    env.remove(QStringLiteral("ANTHROPIC_API_KEY"));
    return env;
}

PipelineEnvironment TestHome::pipelineEnvironment(const Clock* clock) const {
    PipelineEnvironment e;
    e.tools = ToolPaths::platformDefault();
    e.paths = m_paths;
    e.env = environment();
    e.endpoints = Endpoints::fromEnvironment(QProcessEnvironment());
    e.clock = clock ? clock : &Clock::system();
    return e;
}

void TestHome::setResolveState(const QByteArray& json) const {
    writeFile(resolveStateFile(), json);
}

} // namespace ondrel::test

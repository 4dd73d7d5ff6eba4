#pragma once
// Helpers every test uses: a throw-away home laid out like the real one, the fake Resolve
// module, and files.

#include "core/LocalPipeline.h"

#include <QByteArray>
#include <QProcessEnvironment>
#include <QString>
#include <QTemporaryDir>

#include <QCoroTask>

#include <functional>
#include <memory>
#include <optional>
#include <ostream>

// Readable QString values in test failures.
inline void PrintTo(const QString& s, std::ostream* os) {
    *os << '"' << s.toStdString() << '"';
}

namespace ondrel::test {

QString fixturesDir();
QString fakeResolveModuleDir();

bool writeFile(const QString& path, const QByteArray& bytes);
// Runs the event loop until `done` holds or `ms` have passed; true when it holds.
bool waitFor(const std::function<bool()>& done, int ms = 10000);
QByteArray readFile(const QString& path);

// A temporary home folder with a pipeline environment pointing into it. Resolve's module folder
// is the fake module; its state file lives in the home folder.
class TestHome {
public:
    TestHome();

    QString path() const { return m_dir.path(); }
    const AppPaths& paths() const { return m_paths; }
    QString resolveStateFile() const { return m_dir.path() + QStringLiteral("/resolve_state.json"); }

    // Process environment for children: the fake module's state file, keys left out unless set, and
    // a runtime folder of the home's own, so that an application started with it finds no other
    // running instance.
    QProcessEnvironment environment() const;
    QString runtimeDir() const { return m_dir.path() + QStringLiteral("/.runtime"); }
    PipelineEnvironment pipelineEnvironment(const Clock* clock = nullptr) const;

    // Writes the fake Resolve's state.
    void setResolveState(const QByteArray& json) const;

private:
    QTemporaryDir m_dir;
    AppPaths m_paths;
};

} // namespace ondrel::test

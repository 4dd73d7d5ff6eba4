#pragma once
#include <QByteArray>
#include <QList>
#include <QString>

#include <QCoroTask>

#include <functional>
#include <optional>
#include <utility>

namespace ondrel {

// Replaces the file in one step (temporary file + rename), so a reader never sees half of it and
// a failed write leaves the old file whole. On failure *error says why, in the program's words.
bool writeFileAtomically(const QString& path, const QByteArray& bytes, QString* error = nullptr);

// The same with the bytes `make` gives (nothing is written when it gives none). While a
// DeferredWrites collects, `make` runs with the write on the pool thread, so it must hold its own
// copies of what it reads: encoding a week of transcript takes longer than a frame.
using MakeBytes = std::function<std::optional<QByteArray>()>;
void writeFileAtomicallyLater(const QString& path, MakeBytes make);

// Atomic writes sync the file to disk, which can take longer than a frame. Whatever
// writeFileAtomically is asked to write while `collect` runs (on this thread) is kept instead and
// written, in the same order, by `commit` on a pool thread while the caller waits. Only for writes
// whose failure nobody reads: a kept write reports success, and a failure shows as a warning.
class DeferredWrites {
public:
    template <class Work> void collect(Work&& work) {
        DeferredWrites* const outer = std::exchange(current(), this);
        std::forward<Work>(work)();
        current() = outer;
    }
    QCoro::Task<> commit();

private:
    friend bool writeFileAtomically(const QString&, const QByteArray&, QString*);
    friend void writeFileAtomicallyLater(const QString&, MakeBytes);
    static DeferredWrites*& current();
    QList<std::pair<QString, MakeBytes>> m_files;
};

// A name from outside (a Resolve timeline's) as one folder name inside the folder it is joined
// to: never "", "." or "..", no "/", NUL or control character, at most 255 bytes. The same name
// always gives the same folder and different names different folders; a name that is already a
// plain folder name (and does not begin with "%") is kept as it is. Others become "%" and the
// name with "%", "/" and control bytes escaped as "%XX", or, when that is too long, a cut of it
// with "%~" and a hash of the whole name.
QString folderNameFor(const QString& name);

} // namespace ondrel

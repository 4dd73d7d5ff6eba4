#include "Files.h"

#include "Background.h"

#include <QCryptographicHash>
#include <QDebug>

#include <QCoroFuture>
#include <QSaveFile>

#include <algorithm>

namespace ondrel {

bool writeFileAtomically(const QString& path, const QByteArray& bytes, QString* error) {
    if (DeferredWrites* const later = DeferredWrites::current()) {
        later->m_files.push_back({path, [bytes] { return std::optional(bytes); }});
        return true;
    }
    QSaveFile file(path);
    auto fail = [&](const QString& why) {
        if (error)
            *error = QStringLiteral("Could not write %1: %2").arg(path, why);
        file.cancelWriting();
        return false;
    };
    if (!file.open(QIODevice::WriteOnly))
        return fail(file.errorString());
    // QSaveFile buffers: a short write may show only at the flush, and commit() would rename the
    // cut-off file into place.
    if (file.write(bytes) != bytes.size() || !file.flush())
        return fail(file.errorString());
    if (!file.commit())
        return fail(file.errorString());
    return true;
}

DeferredWrites*& DeferredWrites::current() {
    thread_local DeferredWrites* collecting = nullptr;
    return collecting;
}

void writeFileAtomicallyLater(const QString& path, MakeBytes make) {
    if (DeferredWrites* const later = DeferredWrites::current()) {
        later->m_files.push_back({path, std::move(make)});
        return;
    }
    if (const std::optional<QByteArray> bytes = make())
        writeFileAtomically(path, *bytes);
}

QCoro::Task<> DeferredWrites::commit() {
    auto write = [files = std::exchange(m_files, {})] {
        for (const auto& [path, make] : files) {
            const std::optional<QByteArray> bytes = make();
            QString error;
            if (bytes && !writeFileAtomically(path, *bytes, &error))
                qWarning().noquote() << error;
        }
        return true;
    };
    QFuture<bool> written = onWorkerThread(std::move(write));
    co_await written;
}

namespace {

constexpr qsizetype kNameMax = 255; // bytes, as most file systems allow
constexpr qsizetype kKeptOfLongNames = 200;

bool needsEscape(char byte) {
    const auto b = static_cast<unsigned char>(byte);
    return b == '%' || b == '/' || b < 0x20 || b == 0x7f;
}

bool hasLoneSurrogate(const QString& name) {
    for (qsizetype i = 0; i < name.size(); ++i) {
        const QChar c = name[i];
        if (c.isHighSurrogate() && i + 1 < name.size() && name[i + 1].isLowSurrogate())
            ++i;
        else if (c.isSurrogate())
            return true;
    }
    return false;
}

} // namespace

QString folderNameFor(const QString& name) {
    const QByteArray utf8 = name.toUtf8();
    const bool exact = !hasLoneSurrogate(name); // else UTF-8 cannot tell such names apart
    const bool plain = exact && !utf8.isEmpty() && utf8 != "." && utf8 != ".." && !utf8.startsWith('%') &&
                       utf8.size() <= kNameMax && std::none_of(utf8.begin(), utf8.end(), needsEscape);
    if (plain)
        return name;

    QByteArray escaped = "%";
    QList<qsizetype> cuts; // where a cut keeps every escape and every character whole
    for (qsizetype i = 0; i < utf8.size(); ++i) {
        const char byte = utf8[i];
        if ((static_cast<unsigned char>(byte) & 0xC0) != 0x80)
            cuts << escaped.size();
        if (needsEscape(byte))
            escaped +=
                '%' +
                QByteArray::number(static_cast<unsigned char>(byte), 16).toUpper().rightJustified(2, '0');
        else
            escaped += byte;
    }
    if (exact && escaped.size() <= kNameMax)
        return QString::fromUtf8(escaped);

    // "%~" never appears in an escaped name, so a cut name can never equal one.
    const QByteArray whole =
        exact ? utf8 : QByteArray(reinterpret_cast<const char*>(name.utf16()), name.size() * 2);
    const QByteArray hash = QCryptographicHash::hash(whole, QCryptographicHash::Sha256).toHex().left(16);
    qsizetype keep = 1;
    for (const qsizetype cut : cuts)
        if (cut <= kKeptOfLongNames)
            keep = cut;
    return QString::fromUtf8(escaped.left(keep) + "%~" + hash);
}

} // namespace ondrel

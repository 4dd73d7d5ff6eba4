#include "Clock.h"

namespace ondrel {

namespace {
class SystemClock final : public Clock {
public:
    QDateTime now() const override { return QDateTime::currentDateTime(); }
};
} // namespace

const Clock& Clock::system() {
    static const SystemClock clock;
    return clock;
}

QString shortTimeOfDay(const QTime& time, const QLocale& locale) {
    // Drop the seconds field (with its fraction) and the separator before it; quoted text stays.
    const QString format = locale.timeFormat(QLocale::ShortFormat);
    QString out;
    bool quoted = false;
    for (qsizetype i = 0; i < format.size(); ++i) {
        const QChar c = format[i];
        if (c == u'\'')
            quoted = !quoted;
        if (!quoted && c == u's') {
            while (i + 1 < format.size() && (format[i + 1] == u's' || format[i + 1] == u'.' || format[i + 1] == u'z'))
                ++i;
            if (!out.isEmpty() && !out.back().isLetter() && out.back() != u'\'' && !out.back().isSpace())
                out.chop(1);
            continue;
        }
        out += c;
    }
    return locale.toString(time, out.trimmed());
}

} // namespace ondrel

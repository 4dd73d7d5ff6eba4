#include "Rational.h"

#include <QStringList>

#include <array>
#include <cmath>
#include <numeric>

namespace ondrel::interchange {

namespace {

__extension__ typedef __int128 Wide; // GCC and Clang have it; -Wpedantic needs telling

Wide gcdWide(Wide a, Wide b) {
    a = a < 0 ? -a : a;
    b = b < 0 ? -b : b;
    while (b != 0) {
        const Wide t = a % b;
        a = b;
        b = t;
    }
    return a;
}

// Products of two 64-bit parts are taken in 128 bits and brought back after reducing, so a
// sample count over a sample rate times an NTSC rate never overflows on the way.
Rational reduced(Wide num, Wide den) {
    Q_ASSERT(den != 0);
    if (den < 0) {
        num = -num;
        den = -den;
    }
    const Wide g = gcdWide(num, den);
    if (g > 1) {
        num /= g;
        den /= g;
    }
    Rational r;
    r.num = qint64(num);
    r.den = qint64(den);
    return r;
}

Wide floorDiv(Wide a, Wide b) {
    const Wide q = a / b;
    return (a % b != 0 && ((a < 0) != (b < 0))) ? q - 1 : q;
}

constexpr std::array<FrameRate, 8> kStoryRates{{
    {24000, 1001},
    {24, 1},
    {25, 1},
    {30000, 1001},
    {30, 1},
    {50, 1},
    {60000, 1001},
    {60, 1},
}};

} // namespace

Rational Rational::of(qint64 num, qint64 den) {
    return reduced(num, den);
}

Rational operator+(Rational a, Rational b) {
    return reduced(Wide(a.num) * b.den + Wide(b.num) * a.den, Wide(a.den) * b.den);
}

Rational operator-(Rational a, Rational b) {
    return reduced(Wide(a.num) * b.den - Wide(b.num) * a.den, Wide(a.den) * b.den);
}

Rational operator*(Rational a, Rational b) {
    return reduced(Wide(a.num) * b.num, Wide(a.den) * b.den);
}

Rational operator/(Rational a, Rational b) {
    return reduced(Wide(a.num) * b.den, Wide(a.den) * b.num);
}

std::strong_ordering operator<=>(Rational a, Rational b) {
    const Wide l = Wide(a.num) * b.den;
    const Wide r = Wide(b.num) * a.den;
    return l < r   ? std::strong_ordering::less
           : l > r ? std::strong_ordering::greater
                   : std::strong_ordering::equal;
}

qint64 Rational::floor() const {
    return qint64(floorDiv(num, den));
}

qint64 Rational::ceil() const {
    return qint64(-floorDiv(-Wide(num), den));
}

qint64 Rational::round() const {
    return qint64(floorDiv(Wide(num) * 2 + den, Wide(den) * 2));
}

std::optional<Rational> parseRational(const QString& text) {
    const QStringList parts = text.trimmed().split(QLatin1Char('/'));
    if (parts.isEmpty() || parts.size() > 2)
        return std::nullopt;
    bool okNum = false;
    bool okDen = true;
    const qint64 num = parts[0].toLongLong(&okNum);
    const qint64 den = parts.size() == 2 ? parts[1].toLongLong(&okDen) : 1;
    if (!okNum || !okDen || den <= 0 || num <= 0)
        return std::nullopt;
    return Rational::of(num, den);
}

int FrameRate::timecodeBase() const {
    return int(perSecond().round());
}

QString FrameRate::label() const {
    if (den == 1)
        return QString::number(num);
    // Two or three decimals, as editors write them: 23.976, 29.97, 59.94.
    const double fps = double(num) / double(den);
    QString text = QString::number(fps, 'f', 3);
    while (text.endsWith(QLatin1Char('0')))
        text.chop(1);
    if (text.endsWith(QLatin1Char('.')))
        text.chop(1);
    return text;
}

std::span<const FrameRate> storyRates() {
    return kStoryRates;
}

std::optional<FrameRate> standardRate(Rational measured) {
    if (measured.num <= 0)
        return std::nullopt;
    for (const FrameRate& rate : kStoryRates) {
        // |measured / rate - 1| < 1/2000, in integers.
        const Rational ratio = measured / rate.perSecond();
        const Rational off = ratio > Rational::of(1) ? ratio - Rational::of(1) : Rational::of(1) - ratio;
        if (off < Rational::of(1, 2000))
            return rate;
    }
    return std::nullopt;
}

FrameRate nearestStoryRate(Rational measured) {
    if (const auto exact = standardRate(measured))
        return *exact;
    FrameRate best = kStoryRates[1];
    double bestDistance = HUGE_VAL;
    for (const FrameRate& rate : kStoryRates) {
        const double distance = std::abs(std::log(measured.toDouble() / rate.perSecond().toDouble()));
        if (distance < bestDistance) {
            bestDistance = distance;
            best = rate;
        }
    }
    return best;
}

qint64 nearestFrame(Rational start, double offset, FrameRate rate) {
    const Rational exact = framesIn(start, rate);
    const qint64 whole = exact.floor();
    const double fraction = (exact - Rational::of(whole)).toDouble();
    return whole + qint64(std::floor(fraction + offset * double(rate.num) / double(rate.den) + 0.5));
}

} // namespace ondrel::interchange

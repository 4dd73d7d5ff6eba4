#pragma once
// Exact times for the hand-off files. Editors count frames; a double in seconds drifts by a frame
// somewhere in a long timeline and rounds differently in each format, so every time here is a
// whole number of frames of a rate, or a fraction of seconds, never a float.

#include <QString>
#include <QtGlobal>

#include <compare>
#include <optional>
#include <span>

namespace ondrel::interchange {

// A fraction kept in lowest terms with a positive denominator, so equal values compare equal
// member by member.
struct Rational {
    qint64 num = 0;
    qint64 den = 1;

    static Rational of(qint64 num, qint64 den = 1);

    friend Rational operator+(Rational a, Rational b);
    friend Rational operator-(Rational a, Rational b);
    friend Rational operator*(Rational a, Rational b);
    friend Rational operator/(Rational a, Rational b);
    friend bool operator==(Rational a, Rational b) { return a.num == b.num && a.den == b.den; }
    friend std::strong_ordering operator<=>(Rational a, Rational b);

    qint64 floor() const;
    qint64 ceil() const;
    // The nearest whole number, a half going up.
    qint64 round() const;
    double toDouble() const { return double(num) / double(den); }
};

// "30000/1001" or "25" as ffprobe prints rates; nothing for zero or negative denominators, "0/0"
// and text that is not a fraction.
std::optional<Rational> parseRational(const QString& text);

// Frames per second as a fraction: 24000/1001 for 23.976.
struct FrameRate {
    qint64 num = 24;
    qint64 den = 1;

    friend bool operator==(FrameRate, FrameRate) = default;

    Rational perSecond() const { return Rational::of(num, den); }
    Rational frameDuration() const { return Rational::of(den, num); }
    // The frames a timecode counts per second: 30 for 29.97.
    int timecodeBase() const;
    bool isNtsc() const { return den == 1001; }
    // Only 29.97 and 59.94 have a drop-frame count.
    bool allowsDropFrame() const { return den == 1001 && (num == 30000 || num == 60000); }
    // "23.976", "24", "29.97" as editors name rates.
    QString label() const;
};

// The rates a story may take, from 23.976 to 60.
std::span<const FrameRate> storyRates();

// The story rate that a measured rate stands for: ffprobe prints 2997/125 or 24000/1001 for the
// same camera, and 23.976 and 24 lie only 0.1 % apart, so the match must be closer than that.
std::optional<FrameRate> standardRate(Rational measured);
// The story rate nearest to any positive rate (15 fps footage still needs a timeline rate).
FrameRate nearestStoryRate(Rational measured);

inline Rational secondsOf(qint64 frames, FrameRate rate) {
    return Rational::of(frames) * rate.frameDuration();
}
inline Rational framesIn(Rational seconds, FrameRate rate) {
    return seconds * rate.perSecond();
}

// The frame nearest to `start` + `offset` seconds, with `start` exact and the offset a double
// (a story time): the exact part is never rounded twice.
qint64 nearestFrame(Rational start, double offset, FrameRate rate);

} // namespace ondrel::interchange

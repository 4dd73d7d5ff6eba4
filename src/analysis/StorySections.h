#pragma once
// A transcript too long for one request (a week of footage): read in sections, each asked for its
// strongest candidate moments, then one request over the candidates alone picks and orders the
// story. Pure functions here; the requests are in StoryAnalysis and TimelineAudit.

#include "core/Records.h"

#include <QList>
#include <QString>

#include <optional>

namespace ondrel {

// Characters of transcript text one request carries: about 120k tokens, leaving room for the
// prompt's own text and the answer within the model's 200k context.
constexpr qsizetype kStoryPromptBudgetChars = 480000;

// Lines of text in order, split into the fewest runs under `budget` characters each (a line longer
// than the budget stands alone), of about equal size. Gives each run's [first, end) lines.
QList<std::pair<qsizetype, qsizetype>> splitLines(const QList<qsizetype>& lineChars, qsizetype budget);

// One part of a long transcript: whole segments, folded as the whole transcript folds them.
struct TranscriptSection {
    qsizetype firstSegment = 0;
    qsizetype endSegment = 0; // one past the last
    double start = 0;         // its first segment's start
    double end = 0;           // its last segment's end
    QString folded;
};
QList<TranscriptSection> splitIntoSections(const QList<TranscriptSegment>& segments,
                                           qsizetype budget = kStoryPromptBudgetChars);

// A moment a section offers the story.
struct StoryCandidate {
    double startTime = 0;
    double endTime = 0;
    QString transcript;
    QString reason;
    qint64 strength = 3; // 1 (usable) to 5 (unmissable)
    bool operator==(const StoryCandidate&) const = default;
};

// A section's answer, cleaned: its "candidates". A valid answer of another shape keeps what can be
// read (a candidate needs both times); a broken one, cut off say, keeps every whole candidate
// before the break (`rescued`). Absent when nothing of the kind can be read.
struct CandidateReading {
    QList<StoryCandidate> candidates;
    bool rescued = false;
};
std::optional<CandidateReading> readCandidates(const QString& cleanedText);

// Candidates that lie in [start, end] (a second of slack for rounding) with a real length; gives
// how many were dropped.
qsizetype keepCandidatesWithin(QList<StoryCandidate>& candidates, double start, double end);
// Sorted by time; of two that overlap by half the shorter one, the stronger (else the first) stays.
// Gives how many were merged away.
qsizetype mergeDuplicateCandidates(QList<StoryCandidate>& candidates);
// The strongest (then the longest-held order) that fit `budget` characters of candidate lines, in
// time order. Gives how many were left out.
qsizetype keepStrongestWithin(QList<StoryCandidate>& candidates, qsizetype budget);
// "[12.0s → 30.5s] text — why: reason" lines.
QString candidateLines(const QList<StoryCandidate>& candidates);

// Seconds of candidates a section is asked for: about three times its share of the target.
double candidateSecondsFor(const TranscriptSection& section, double totalDuration, double targetMinutes);

QString buildSectionPrompt(const TranscriptSection& section, qsizetype number, qsizetype count,
                           double totalDuration, double targetMinutes, const QString& sourceLanguage,
                           const QString& stylePrompt);
QString buildChoicePrompt(const QList<StoryCandidate>& candidates, qsizetype sections, double totalDuration,
                          double targetMinutes, const QString& sourceLanguage, const QString& stylePrompt);

// Moments the choice keeps: those inside a candidate (two seconds of slack). Gives how many were
// dropped.
qsizetype keepMomentsOfCandidates(MiningResults& results, const QList<StoryCandidate>& candidates);

} // namespace ondrel

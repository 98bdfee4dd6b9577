#pragma once

#include <QString>
#include <QStringList>

namespace velotte::TextMatch {

// The track-matching comparison key: Traditional Chinese as Simplified,
// case, width and accents folded away, only letters, marks and digits kept.
QString key(const QString &text);

// The words of a text: split on blanks, punctuation and symbols (an
// apostrophe inside a word keeps it whole), each reduced to the track-matching
// key so that case, accents, width and Chinese script never hide a match.
// Words that reduce to nothing are dropped.
QStringList words(const QString &text);

// The words joined by single blanks.
QString normalized(const QString &text);

// Whether a query word matches a word of a searched text: the word begins
// with it, or, for scripts written without blanks (Chinese, Japanese, Thai),
// holds it anywhere.
bool wordMatches(const QString &queryWord, const QString &word);

// Whether `words` holds `phrase` (already split) as consecutive whole words.
bool containsPhrase(const QStringList &words, const QStringList &phrase);

} // namespace velotte::TextMatch

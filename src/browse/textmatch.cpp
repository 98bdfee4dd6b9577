#include "textmatch.h"

#include "notes/trackmatching.h"

#include <QChar>

namespace velotte::TextMatch {

namespace {

bool isApostrophe(char32_t c) { return c == U'\'' || c == U'\u2019' || c == U'\u02BC'; }

bool isSeparator(char32_t c)
{
    if (QChar::isSpace(c))
        return true;
    switch (QChar::category(c)) {
    case QChar::Punctuation_Connector:
    case QChar::Punctuation_Dash:
    case QChar::Punctuation_Open:
    case QChar::Punctuation_Close:
    case QChar::Punctuation_InitialQuote:
    case QChar::Punctuation_FinalQuote:
    case QChar::Punctuation_Other:
    case QChar::Symbol_Math:
    case QChar::Symbol_Currency:
    case QChar::Symbol_Modifier:
    case QChar::Symbol_Other:
    case QChar::Other_Control:
        return true;
    default:
        return false;
    }
}

bool unspacedScript(const QString &word)
{
    if (word.isEmpty())
        return false;
    const char32_t first = word.at(0).isHighSurrogate() && word.size() > 1
                               ? QChar::surrogateToUcs4(word.at(0), word.at(1))
                               : char32_t(word.at(0).unicode());
    switch (QChar::script(first)) {
    case QChar::Script_Han:
    case QChar::Script_Hiragana:
    case QChar::Script_Katakana:
    case QChar::Script_Thai:
    case QChar::Script_Lao:
    case QChar::Script_Khmer:
    case QChar::Script_Myanmar:
        return true;
    default:
        return false;
    }
}

} // namespace

QString key(const QString &text) { return TrackMatching::normalized(text); }

QStringList words(const QString &text)
{
    QStringList result;
    qsizetype start = -1; // where the current word began
    auto flush = [&](qsizetype end) {
        if (start < 0)
            return;
        const QString key = TextMatch::key(text.mid(start, end - start));
        if (!key.isEmpty())
            result.append(key);
        start = -1;
    };
    auto codePointAt = [&](qsizetype i, qsizetype *length) {
        if (text.at(i).isHighSurrogate() && i + 1 < text.size() && text.at(i + 1).isLowSurrogate()) {
            *length = 2;
            return char32_t(QChar::surrogateToUcs4(text.at(i), text.at(i + 1)));
        }
        *length = 1;
        return char32_t(text.at(i).unicode());
    };
    for (qsizetype i = 0; i < text.size();) {
        qsizetype length = 1;
        const char32_t c = codePointAt(i, &length);
        // "Don't" stays one word; a quote mark around a word does not.
        bool innerApostrophe = false;
        if (isApostrophe(c) && start >= 0 && i + length < text.size()) {
            qsizetype nextLength = 1;
            innerApostrophe = QChar::isLetterOrNumber(codePointAt(i + length, &nextLength));
        }
        if (!innerApostrophe && isSeparator(c))
            flush(i);
        else if (start < 0)
            start = i;
        i += length;
    }
    flush(text.size());
    return result;
}

QString normalized(const QString &text) { return words(text).join(QLatin1Char(' ')); }

bool wordMatches(const QString &queryWord, const QString &word)
{
    if (queryWord.isEmpty())
        return true;
    if (word.startsWith(queryWord))
        return true;
    return unspacedScript(queryWord) && word.contains(queryWord);
}

bool containsPhrase(const QStringList &words, const QStringList &phrase)
{
    if (phrase.isEmpty() || phrase.size() > words.size())
        return false;
    for (qsizetype start = 0; start + phrase.size() <= words.size(); ++start) {
        bool all = true;
        for (qsizetype k = 0; k < phrase.size() && all; ++k)
            all = words[start + k] == phrase[k];
        if (all)
            return true;
    }
    return false;
}

} // namespace velotte::TextMatch

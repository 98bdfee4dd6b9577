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
    const QList<uint> points = text.toUcs4();
    QString current;
    auto flush = [&] {
        if (current.isEmpty())
            return;
        const QString key = TextMatch::key(current);
        if (!key.isEmpty())
            result.append(key);
        current.clear();
    };
    for (qsizetype i = 0; i < points.size(); ++i) {
        const char32_t c = points[i];
        // "Don't" stays one word; a quote mark around a word does not.
        const bool innerApostrophe = isApostrophe(c) && !current.isEmpty() && i + 1 < points.size()
                                     && QChar::isLetterOrNumber(points[i + 1]);
        if (!innerApostrophe && isSeparator(c)) {
            flush();
            continue;
        }
        current.append(QString::fromUcs4(&c, 1));
    }
    flush();
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

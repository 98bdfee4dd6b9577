#include "textmatch.h"

#include <QChar>

#include <unicode/translit.h>
#include <unicode/unistr.h>

#include <memory>

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

QString traditionalToSimplified(const QString &text)
{
    // Building a transliterator is slow and one instance is not safe to share
    // between threads: one per thread, built on first use.
    thread_local std::unique_ptr<icu::Transliterator> converter = [] {
        UErrorCode status = U_ZERO_ERROR;
        std::unique_ptr<icu::Transliterator> t(
            icu::Transliterator::createInstance("Traditional-Simplified", UTRANS_FORWARD, status));
        return U_SUCCESS(status) ? std::move(t) : nullptr;
    }();
    if (!converter)
        return text;
    icu::UnicodeString u(reinterpret_cast<const UChar *>(text.utf16()), int32_t(text.size()));
    converter->transliterate(u);
    if (u.isEmpty())
        return text;
    return QString(reinterpret_cast<const QChar *>(u.getBuffer()), u.length());
}

bool keptInKey(char32_t c)
{
    switch (QChar::category(c)) {
    case QChar::Letter_Uppercase:
    case QChar::Letter_Lowercase:
    case QChar::Letter_Titlecase:
    case QChar::Letter_Modifier:
    case QChar::Letter_Other:
    case QChar::Mark_SpacingCombining:
    case QChar::Mark_Enclosing:
    case QChar::Number_DecimalDigit:
    case QChar::Number_Letter:
    case QChar::Number_Other:
        return true;
    default:
        return false; // non-spacing marks are the accents the key ignores
    }
}

} // namespace

QString key(const QString &text)
{
    // Compatibility decomposition folds full-width forms and splits accents
    // off their letters; case folding after it catches what decomposing exposed.
    const QString folded = traditionalToSimplified(text).normalized(QString::NormalizationForm_KD).toCaseFolded();
    QString kept;
    kept.reserve(folded.size());
    for (const char32_t c : folded.toUcs4()) {
        if (keptInKey(c))
            kept.append(QString::fromUcs4(&c, 1));
    }
    return kept.normalized(QString::NormalizationForm_C);
}

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

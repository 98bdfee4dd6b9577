#include "trackmatching.h"

#include <QHash>
#include <QRegularExpression>

#include <unicode/normalizer2.h>
#include <unicode/translit.h>
#include <unicode/uchar.h>
#include <unicode/unistr.h>

#include <memory>
#include <mutex>

namespace velotte {

size_t qHash(const LyricQuery &query, size_t seed) noexcept
{
    return qHashMulti(seed, query.title, query.artist);
}

namespace TrackMatching {

namespace {

using namespace Qt::Literals::StringLiterals;

icu::UnicodeString toICU(const QString &text)
{
    return icu::UnicodeString(reinterpret_cast<const UChar *>(text.utf16()), int32_t(text.size()));
}

QString fromICU(const icu::UnicodeString &text)
{
    return QString(reinterpret_cast<const QChar *>(text.getBuffer()), text.length());
}

// Building a transliterator takes tens of milliseconds and a few megabytes
// of ICU data; using one takes microseconds. Each is built on the first Han
// text it meets (most titles have none), then kept; the lock keeps shared
// use safe.
class Scripts {
public:
    static Scripts &instance()
    {
        static Scripts scripts;
        return scripts;
    }

    QString convert(const QString &text, bool toSimplified)
    {
        if (!hasHan(text))
            return text;
        icu::UnicodeString s = toICU(text);
        {
            std::lock_guard lock(m_mutex);
            Direction &d = toSimplified ? m_simplified : m_traditional;
            if (!d.tried) {
                d.tried = true;
                UErrorCode status = U_ZERO_ERROR;
                d.transliterator.reset(icu::Transliterator::createInstance(toSimplified ? "Traditional-Simplified" : "Simplified-Traditional",
                                                                           UTRANS_FORWARD, status));
                if (U_FAILURE(status))
                    d.transliterator.reset();
            }
            if (!d.transliterator)
                return text;
            d.transliterator->transliterate(s);
        }
        return s.isEmpty() ? text : fromICU(s);
    }

private:
    struct Direction {
        bool tried = false;
        std::unique_ptr<icu::Transliterator> transliterator;
    };

    // The conversions touch Han characters only; Latin text skips them.
    static bool hasHan(const QString &text)
    {
        for (QChar c : text) {
            if (c.unicode() >= 0x2E80)
                return true;
        }
        return false;
    }

    std::mutex m_mutex;
    Direction m_simplified;
    Direction m_traditional;
};

bool keeps(UChar32 c)
{
    return (U_GET_GC_MASK(c) & (U_GC_L_MASK | U_GC_M_MASK | U_GC_N_MASK)) != 0;
}

QString asciiKey(const QString &text)
{
    QString key;
    key.reserve(text.size());
    for (QChar c : text) {
        const char16_t u = c.unicode();
        if (u >= u'A' && u <= u'Z')
            key.append(QChar(u + 32));
        else if ((u >= u'a' && u <= u'z') || (u >= u'0' && u <= u'9'))
            key.append(c);
    }
    return key;
}

bool isAscii(const QString &text)
{
    for (QChar c : text) {
        if (c.unicode() >= 0x80)
            return false;
    }
    return true;
}

QString foldedKey(const QString &text)
{
    UErrorCode status = U_ZERO_ERROR;
    const icu::Normalizer2 *nfd = icu::Normalizer2::getNFDInstance(status);
    const icu::Normalizer2 *nfc = icu::Normalizer2::getNFCInstance(status);
    const icu::Normalizer2 *nfkc = icu::Normalizer2::getNFKCInstance(status);
    if (U_FAILURE(status))
        return text;

    const icu::UnicodeString decomposed = nfd->normalize(toICU(text), status);
    if (U_FAILURE(status))
        return {};
    icu::UnicodeString folded;
    for (int32_t i = 0; i < decomposed.length();) {
        const UChar32 c = decomposed.char32At(i);
        i += U16_LENGTH(c);
        // Accents: the combining marks that decomposition split off.
        if (u_charType(c) == U_NON_SPACING_MARK)
            continue;
        // Width: full-width Latin and half-width kana to their usual forms.
        const int type = u_getIntPropertyValue(c, UCHAR_DECOMPOSITION_TYPE);
        icu::UnicodeString mapped;
        if ((type == U_DT_WIDE || type == U_DT_NARROW) && nfkc->getDecomposition(c, mapped))
            folded.append(mapped);
        else
            folded.append(c);
    }
    folded.foldCase(U_FOLD_CASE_DEFAULT);
    const icu::UnicodeString composed = nfc->normalize(folded, status);
    if (U_FAILURE(status))
        return {};

    QString key;
    key.reserve(composed.length());
    for (int32_t i = 0; i < composed.length();) {
        const UChar32 c = composed.char32At(i);
        i += U16_LENGTH(c);
        if (!keeps(c))
            continue;
        key.append(QChar::fromUcs4(char32_t(c)));
    }
    return key;
}

} // namespace

QString toSimplified(const QString &text) { return Scripts::instance().convert(text, true); }
QString toTraditional(const QString &text) { return Scripts::instance().convert(text, false); }

QString title(const QString &text)
{
    static const QRegularExpression remark(
        u"\\s*[（(][^()（）]*(?:作品|概念|主題[曲歌]|主题[曲歌]|插曲|片尾曲|片頭曲|片头曲|[Ff]rom [^()（）]*[Ss]oundtrack)[^()（）]*[）)]\\s*$"_s,
        QRegularExpression::UseUnicodePropertiesOption);
    QString cleaned = text;
    cleaned.replace(remark, QString());
    return cleaned.trimmed();
}

QString normalized(const QString &text)
{
    if (isAscii(text))
        return asciiKey(text);
    return foldedKey(toSimplified(text));
}

QStringList titleQueries(const QString &text)
{
    const QString cleaned = title(text);
    QStringList queries;
    for (const QString &candidate : {cleaned, toSimplified(cleaned), toTraditional(cleaned)}) {
        if (!candidate.isEmpty() && !queries.contains(candidate))
            queries.append(candidate);
    }
    return queries;
}

QList<LyricQuery> lyricQueries(const QString &title, const QString &artist)
{
    QStringList artists{artist};
    for (const QString &variant : {toSimplified(artist), toTraditional(artist)}) {
        if (!artists.contains(variant))
            artists.append(variant);
    }
    QList<LyricQuery> queries;
    for (const QString &t : titleQueries(title)) {
        for (const QString &a : std::as_const(artists))
            queries.append(LyricQuery{t, a});
    }
    return queries;
}

bool sameTitle(const QString &a, const QString &b)
{
    const QString key = normalized(title(a));
    return !key.isEmpty() && key == normalized(title(b));
}

bool same(const QString &candidateArtist, const QString &requestedArtist)
{
    if (candidateArtist.isEmpty())
        return false;
    return normalized(candidateArtist) == normalized(requestedArtist);
}

} // namespace TrackMatching

} // namespace velotte

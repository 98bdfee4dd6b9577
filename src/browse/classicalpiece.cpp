#include "classicalpiece.h"

#include "textmatch.h"

#include <QCollator>
#include <QHash>
#include <QRegularExpression>
#include <QSet>

#include <utility>
#include <vector>

namespace velotte {

namespace {

struct Composer {
    const char16_t *name;
    std::vector<const char16_t *> aliases; // each as written; split into words when compared
};

// Surnames alone where they are unambiguous; a first name where the surname is
// a common word ("Glass", "Barber", "Part").
const std::vector<Composer> &knownComposers()
{
    static const std::vector<Composer> list = {
        {u"Bach", {u"Bach"}},
        {u"Beethoven", {u"Beethoven"}},
        {u"Mozart", {u"Mozart"}},
        {u"Brahms", {u"Brahms"}},
        {u"Schubert", {u"Schubert"}},
        {u"Schumann", {u"Schumann"}},
        {u"Chopin", {u"Chopin"}},
        {u"Liszt", {u"Liszt"}},
        {u"Haydn", {u"Haydn"}},
        {u"Handel", {u"Handel", u"Händel", u"Haendel"}},
        {u"Vivaldi", {u"Vivaldi"}},
        {u"Tchaikovsky", {u"Tchaikovsky", u"Tchaikowsky", u"Tschaikowsky", u"Chaikovsky", u"Tchaikovski"}},
        {u"Dvořák", {u"Dvořák"}},
        {u"Mahler", {u"Mahler"}},
        {u"Bruckner", {u"Bruckner"}},
        {u"Verdi", {u"Verdi"}},
        {u"Puccini", {u"Puccini"}},
        {u"Wagner", {u"Wagner"}},
        {u"Rossini", {u"Rossini"}},
        {u"Debussy", {u"Debussy"}},
        {u"Ravel", {u"Ravel"}},
        {u"Stravinsky", {u"Stravinsky", u"Strawinsky"}},
        {u"Prokofiev", {u"Prokofiev", u"Prokofieff", u"Prokofjew"}},
        {u"Shostakovich", {u"Shostakovich", u"Schostakowitsch"}},
        {u"Rachmaninoff", {u"Rachmaninoff", u"Rachmaninov", u"Rachmaninow"}},
        {u"Sibelius", {u"Sibelius"}},
        {u"Grieg", {u"Grieg"}},
        {u"Mendelssohn", {u"Mendelssohn"}},
        {u"Elgar", {u"Elgar"}},
        {u"Purcell", {u"Purcell"}},
        {u"Monteverdi", {u"Monteverdi"}},
        {u"Telemann", {u"Telemann"}},
        {u"Berlioz", {u"Berlioz"}},
        {u"Bizet", {u"Bizet"}},
        {u"Fauré", {u"Fauré"}},
        {u"Saint-Saëns", {u"Saint-Saëns"}},
        {u"Mussorgsky", {u"Mussorgsky", u"Moussorgsky", u"Mussorgski"}},
        {u"Rimsky-Korsakov", {u"Rimsky-Korsakov"}},
        {u"Bartók", {u"Bartók"}},
        {u"Britten", {u"Britten"}},
        {u"Gershwin", {u"Gershwin"}},
        {u"Satie", {u"Satie"}},
        {u"Strauss", {u"Strauss"}},
        {u"Palestrina", {u"Palestrina"}},
        {u"Pergolesi", {u"Pergolesi"}},
        {u"Scarlatti", {u"Scarlatti"}},
        {u"Corelli", {u"Corelli"}},
        {u"Albinoni", {u"Albinoni"}},
        {u"Pachelbel", {u"Pachelbel"}},
        {u"Donizetti", {u"Donizetti"}},
        {u"Bellini", {u"Bellini"}},
        {u"Gounod", {u"Gounod"}},
        {u"Janáček", {u"Janáček"}},
        {u"Smetana", {u"Smetana"}},
        {u"Holst", {u"Holst"}},
        {u"Vaughan Williams", {u"Vaughan Williams"}},
        {u"Poulenc", {u"Poulenc"}},
        {u"Orff", {u"Orff"}},
        {u"Messiaen", {u"Messiaen"}},
        {u"Glass", {u"Philip Glass"}},
        {u"Pärt", {u"Arvo Pärt"}},
        {u"Barber", {u"Samuel Barber"}},
        {u"Copland", {u"Copland"}},
        {u"Hildegard von Bingen", {u"Hildegard"}},
        {u"Tallis", {u"Tallis"}},
        {u"Byrd", {u"Byrd"}},
        {u"Rameau", {u"Rameau"}},
        {u"Couperin", {u"Couperin"}},
        {u"Gluck", {u"Gluck"}},
        {u"Borodin", {u"Borodin"}},
        {u"Franck", {u"Franck"}},
        {u"Offenbach", {u"Offenbach"}},
        {u"Lully", {u"Lully"}},
        {u"Buxtehude", {u"Buxtehude"}},
        {u"Paganini", {u"Paganini"}},
        {u"Ligeti", {u"Ligeti"}},
        {u"Schoenberg", {u"Schoenberg", u"Schönberg"}},
        {u"Webern", {u"Webern"}},
        {u"Nielsen", {u"Nielsen"}},
        {u"Respighi", {u"Respighi"}},
        {u"Mascagni", {u"Mascagni"}},
        {u"Leoncavallo", {u"Leoncavallo"}},
        {u"Delius", {u"Delius"}},
    };
    return list;
}

struct Phrase {
    QStringList words;
    ClassicalWork work;
};

// Words and phrases that name a kind of work, with the titles of well-known
// operas and choral works that carry no such word ("Verdi: La traviata").
const std::vector<Phrase> &workPhrases()
{
    static const std::vector<Phrase> list = [] {
        const std::vector<std::pair<ClassicalWork, std::vector<const char16_t *>>> table = {
            {ClassicalWork::concertos,
             {u"concerto", u"concerti", u"concertos", u"concertante", u"concertino", u"konzert", u"konzerte",
              u"sinfonia concertante"}},
            {ClassicalWork::symphonies,
             {u"symphony", u"symphonies", u"symphonie", u"symphonien", u"sinfonie", u"sinfonia", u"symfonie"}},
            {ClassicalWork::sonatas, {u"sonata", u"sonatas", u"sonate", u"sonaten", u"sonatina", u"sonatine"}},
            {ClassicalWork::chamber,
             {u"quartet", u"quartets", u"quartett", u"quintet", u"quintets", u"quintett", u"sextet", u"septet",
              u"octet", u"nonet", u"trio", u"trios", u"chamber", u"partita", u"partitas", u"cello suite",
              u"cello suites", u"suite for solo", u"suites for solo"}},
            {ClassicalWork::vocal,
             {u"opera", u"operas", u"mass", u"messe", u"missa", u"requiem", u"cantata", u"cantatas", u"kantate",
              u"oratorio", u"oratorium", u"lieder", u"lied", u"choral", u"chorale", u"choir", u"chorus", u"motet",
              u"motets", u"magnificat", u"vespers", u"passion", u"stabat mater", u"te deum", u"gloria", u"arias",
              u"ave maria", u"song cycle", u"la traviata", u"rigoletto", u"aida", u"tosca", u"la boheme",
              u"madama butterfly", u"carmen", u"don giovanni", u"le nozze di figaro", u"marriage of figaro",
              u"die zauberflöte", u"zauberflöte", u"magic flute", u"così fan tutte", u"fidelio", u"walküre",
              u"götterdämmerung", u"tristan und isolde", u"parsifal", u"lohengrin", u"tannhäuser",
              u"barbiere di siviglia", u"barber of seville", u"turandot", u"otello", u"nabucco", u"messiah",
              u"carmina burana", u"winterreise", u"dichterliebe", u"schwanengesang", u"schöne müllerin", u"norma",
              u"lucia di lammermoor", u"l’elisir d’amore", u"eugene onegin", u"pagliacci", u"cavalleria rusticana",
              u"dido and aeneas", u"peter grimes", u"salome", u"elektra", u"rosenkavalier", u"wozzeck",
              u"fledermaus", u"orfeo", u"exsultate jubilate"}},
        };
        std::vector<Phrase> phrases;
        for (const auto &[work, texts] : table)
            for (const char16_t *text : texts)
                phrases.push_back({TextMatch::words(QString::fromUtf16(text)), work});
        return phrases;
    }();
    return list;
}

const QHash<QString, std::vector<const Phrase *>> &phrasesByFirstWord()
{
    static const QHash<QString, std::vector<const Phrase *>> index = [] {
        QHash<QString, std::vector<const Phrase *>> byFirst;
        for (const Phrase &phrase : workPhrases())
            if (!phrase.words.isEmpty())
                byFirst[phrase.words.first()].push_back(&phrase);
        return byFirst;
    }();
    return index;
}

// German writes the kind as the end of a compound ("Klavierkonzert").
ClassicalWork compoundWork(const QString &word)
{
    static const std::vector<std::pair<const char *, ClassicalWork>> endings = {
        {"konzert", ClassicalWork::concertos}, {"sinfonie", ClassicalWork::symphonies},
        {"sonate", ClassicalWork::sonatas},    {"quartett", ClassicalWork::chamber},
        {"quintett", ClassicalWork::chamber},  {"messe", ClassicalWork::vocal}};
    for (const auto &[ending, work] : endings)
        if (word.size() > qsizetype(qstrlen(ending)) + 2 && word.endsWith(QLatin1String(ending)))
            return work;
    return ClassicalWork::all;
}

// Each alias split into words once and found by its first word, not
// compared whole on every parse.
const QHash<QString, std::vector<std::pair<QStringList, QString>>> &composerAliases()
{
    static const QHash<QString, std::vector<std::pair<QStringList, QString>>> aliases = [] {
        QHash<QString, std::vector<std::pair<QStringList, QString>>> byFirst;
        for (const Composer &composer : knownComposers())
            for (const char16_t *alias : composer.aliases) {
                const QStringList words = TextMatch::words(QString::fromUtf16(alias));
                if (!words.isEmpty())
                    byFirst[words.first()].emplace_back(words, QString::fromUtf16(composer.name));
            }
        return byFirst;
    }();
    return aliases;
}

bool wordsAt(const QStringList &words, qsizetype start, const QStringList &phrase)
{
    if (start + phrase.size() > words.size())
        return false;
    for (qsizetype k = 0; k < phrase.size(); ++k)
        if (words[start + k] != phrase[k])
            return false;
    return true;
}

QString knownComposerIn(const QStringList &words)
{
    for (qsizetype i = 0; i < words.size(); ++i) {
        const auto found = composerAliases().constFind(words[i]);
        if (found == composerAliases().constEnd())
            continue;
        for (const auto &[alias, name] : *found)
            if (wordsAt(words, i, alias))
                return name;
    }
    return {};
}

// Catalogue numbers mark a classical work even without a telling word
// ("Op. 67", "BWV 1007", "K. 467", "D. 810", "RV 269", "Hob. XVI").
bool hasCatalogueNumber(const QString &text)
{
    static const QRegularExpression pattern(
        QStringLiteral(R"(\b(?:op(?:us)?\.?\s*\d|bwv\s*\d|kv?\.?\s*\d{2,3}\b|d\.?\s*\d{2,3}\b|rv\s*\d|hwv\s*\d|)"
                       R"(hob\.?\s*[ivxl]|woo\s*\d))"),
        QRegularExpression::CaseInsensitiveOption | QRegularExpression::UseUnicodePropertiesOption);
    return pattern.match(text).hasMatch();
}

// "Composer: Work", "Composer - Work", with an en or em dash too.
std::pair<QString, QString> splitComposer(const QString &title)
{
    static const QRegularExpression separator(QStringLiteral(R"(:\s+|\s+[-–—]\s+)"));
    const auto match = separator.match(title);
    if (!match.hasMatch() || match.capturedStart() == 0)
        return {};
    return {title.left(match.capturedStart()).trimmed(), title.mid(match.capturedEnd()).trimmed()};
}

bool mentionsClassical(const QStringList &words)
{
    static const QStringList hints = {QStringLiteral("classical"), QStringLiteral("classique"), QStringLiteral("klassik"),
                                      QStringLiteral("clasica"), QStringLiteral("classica")};
    return std::any_of(words.begin(), words.end(), [](const QString &word) { return hints.contains(word); });
}

bool looksLikeName(const QString &text, const QStringList &words)
{
    static const QRegularExpression digit(QStringLiteral(R"(\d)"));
    return words.size() >= 1 && words.size() <= 4 && !text.contains(digit);
}

ClassicalWork workOfWords(const QStringList &words)
{
    for (qsizetype i = 0; i < words.size(); ++i) {
        // The longest phrase starting here wins ("sinfonia concertante").
        const Phrase *best = nullptr;
        const auto candidates = phrasesByFirstWord().constFind(words[i]);
        if (candidates != phrasesByFirstWord().constEnd()) {
            for (const Phrase *phrase : *candidates) {
                if ((!best || phrase->words.size() > best->words.size()) && wordsAt(words, i, phrase->words))
                    best = phrase;
            }
        }
        if (best)
            return best->work;
        if (const ClassicalWork work = compoundWork(words[i]); work != ClassicalWork::all)
            return work;
    }
    return ClassicalWork::all;
}

} // namespace

ClassicalWork ClassicalPiece::workOf(const QString &text) { return workOfWords(TextMatch::words(text)); }

std::optional<ClassicalPiece> ClassicalPiece::parse(const QString &title, const QString &detail)
{
    const auto [prefix, rest] = splitComposer(title);
    const QStringList titleWords = TextMatch::words(title);
    const QStringList detailWords = TextMatch::words(detail);
    const QStringList prefixWords = TextMatch::words(prefix);
    const QStringList restWords = rest.isEmpty() ? titleWords : TextMatch::words(rest);

    ClassicalPiece piece;
    piece.work = workOfWords(restWords);
    if (piece.work == ClassicalWork::all)
        piece.work = workOfWords(detailWords);

    piece.composer = knownComposerIn(prefixWords);
    if (piece.composer.isEmpty())
        piece.composer = knownComposerIn(titleWords);
    if (piece.composer.isEmpty())
        piece.composer = knownComposerIn(detailWords);
    // An unknown name before the separator is a composer only when what follows
    // is plainly a classical work; "Coldplay - Yellow" is not.
    if (piece.composer.isEmpty() && !rest.isEmpty() && looksLikeName(prefix, prefixWords)
        && (workOfWords(restWords) != ClassicalWork::all || hasCatalogueNumber(rest)))
        piece.composer = prefix;

    // A kind of work alone is not enough: pop titles say "Symphony" or "Opera"
    // too. A catalogue number or the word "classical" settles it.
    if (piece.composer.isEmpty() && !hasCatalogueNumber(title) && !mentionsClassical(titleWords) && !mentionsClassical(detailWords))
        return std::nullopt;
    return piece;
}

std::optional<ClassicalPiece> ClassicalPiece::parse(const SonosFavorite &favorite)
{
    return parse(favorite.name, favorite.detail.value_or(QString()));
}

QStringList ClassicalPiece::composers(const QList<SonosFavorite> &favorites)
{
    QStringList names;
    QSet<QString> seen;
    for (const SonosFavorite &favorite : favorites) {
        const auto piece = parse(favorite);
        if (!piece || piece->composer.isEmpty())
            continue;
        const QString key = TextMatch::normalized(piece->composer);
        if (seen.contains(key))
            continue;
        seen.insert(key);
        names.append(piece->composer);
    }
    QCollator collator;
    collator.setCaseSensitivity(Qt::CaseInsensitive);
    std::sort(names.begin(), names.end(), [&collator](const QString &a, const QString &b) { return collator.compare(a, b) < 0; });
    return names;
}

QString ClassicalPiece::composerNamed(const QString &text) { return knownComposerIn(TextMatch::words(text)); }

bool ClassicalPiece::sameComposer(const QString &a, const QString &b)
{
    const QString key = TextMatch::normalized(a);
    return !key.isEmpty() && key == TextMatch::normalized(b);
}

} // namespace velotte

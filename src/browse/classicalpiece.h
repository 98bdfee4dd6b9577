#pragma once

#include "browsemode.h"
#include "cloud/records.h"

#include <QList>
#include <QString>
#include <QStringList>

#include <optional>

namespace velotte {

// The composer and kind of work read from a favorite's title and description,
// for titles such as "Beethoven: Symphony No. 5 in C minor, Op. 67" or
// "Verdi: La traviata".
struct ClassicalPiece {
    QString composer;                       // empty when only the kind of work is known
    ClassicalWork work = ClassicalWork::all; // all: the kind is not known

    bool operator==(const ClassicalPiece &) const = default;

    // None when nothing marks the favorite as classical.
    static std::optional<ClassicalPiece> parse(const QString &title, const QString &detail = {});
    static std::optional<ClassicalPiece> parse(const SonosFavorite &favorite);

    // The kind of work a text names; the earliest telling word decides, so
    // "Cantata BWV 147: Sinfonia" is vocal and "Symphony No. 9 'Choral'" a symphony.
    static ClassicalWork workOf(const QString &text);

    // The composers of the classical favorites for the composer filter,
    // each once, alphabetically.
    static QStringList composers(const QList<SonosFavorite> &favorites);

    // The composer a name or spelling stands for ("Rachmaninov",
    // "Tschaikowsky", "J. S. Bach"); empty when it names none we know.
    static QString composerNamed(const QString &text);

    // Whether two composer names are the same person as far as the filter is
    // concerned (case, accents and script do not count).
    static bool sameComposer(const QString &a, const QString &b);
};

} // namespace velotte

#pragma once

#include <QHash>
#include <QList>
#include <QString>

namespace velotte {

// The elements of an alarm reply or alarm list, flat and in start-tag order.
// Names are kept as written: prefixes are not resolved.
class AlarmXML {
public:
    struct Element {
        QString name;
        QHash<QString, QString> attributes;
        QString text; // character data directly inside, in arrival order
    };

    // Throws NewsAlarmClient::Failure `response` when the text does not parse.
    static QList<Element> elements(const QString &text);
    // The first element called `name`, or none.
    static const Element *first(const QList<Element> &elements, const QString &name);

    QList<Element> values;
    QList<qsizetype> stack; // indices into values: the open elements
};

} // namespace velotte

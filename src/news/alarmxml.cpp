#include "alarmxml.h"

#include "newsalarmclient.h"

#include <QXmlStreamReader>

namespace velotte {

QList<AlarmXML::Element> AlarmXML::elements(const QString &text)
{
    AlarmXML xml;
    QXmlStreamReader reader(text);
    reader.setNamespaceProcessing(false);
    while (!reader.atEnd()) {
        switch (reader.readNext()) {
        case QXmlStreamReader::StartElement: {
            Element element;
            element.name = reader.qualifiedName().toString();
            for (const QXmlStreamAttribute &a : reader.attributes())
                element.attributes.insert(a.qualifiedName().toString(), a.value().toString());
            xml.values.append(std::move(element));
            xml.stack.append(xml.values.size() - 1);
            break;
        }
        case QXmlStreamReader::Characters:
            if (!xml.stack.isEmpty())
                xml.values[xml.stack.last()].text += reader.text();
            break;
        case QXmlStreamReader::EndElement:
            if (!xml.stack.isEmpty())
                xml.stack.removeLast();
            break;
        default:
            break;
        }
    }
    if (reader.hasError())
        throw NewsAlarmClient::Failure(NewsAlarmClient::Failure::Kind::response);
    return xml.values;
}

const AlarmXML::Element *AlarmXML::first(const QList<Element> &elements, const QString &name)
{
    for (const Element &e : elements) {
        if (e.name == name)
            return &e;
    }
    return nullptr;
}

} // namespace velotte

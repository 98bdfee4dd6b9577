#include "newsschedule.h"

#include "core/settings.h"

namespace velotte {

using namespace Qt::Literals::StringLiterals;

const QString NewsSource::basePath = u"/api/public/news-shadowing"_s;
const QStringList NewsSource::recognizedLanguages{u"english"_s, u"japanese"_s, u"bilingual"_s};
const QStringList NewsSource::recognizedCategories{u"latest"_s};

QUrl NewsSource::defaultBase()
{
    return ServiceAddresses::defaults().news;
}

NewsSource::NewsSource(const QUrl &base) : m_base(base)
{
    m_base.setPath(basePath);
    m_base.setQuery(QString());
    m_base.setFragment(QString());
}

QUrl NewsSource::address(const QString &component, const QList<QPair<QString, QString>> &query) const
{
    QUrl url = m_base;
    url.setPath(basePath + u'/' + component);
    if (!query.isEmpty()) {
        QStringList items;
        for (const auto &[name, value] : query)
            items << QString::fromUtf8(QUrl::toPercentEncoding(name)) + u'=' + QString::fromUtf8(QUrl::toPercentEncoding(value));
        url.setQuery(items.join(u'&'), QUrl::StrictMode);
    }
    return url;
}

std::optional<std::pair<QString, QString>> NewsSource::selection(const QString &uri) const
{
    const QUrl url(uri, QUrl::StrictMode);
    if (!url.isValid() || url.scheme() != u"https"_s || url.host() != m_base.host() || url.port() != -1 || !url.userName().isEmpty()
        || !url.password().isEmpty() || url.hasFragment())
        return std::nullopt;
    // An "@" with nothing before it is still a user part.
    if (uri.section(u"//"_s, 1).section(u'/', 0, 0).contains(u'@'))
        return std::nullopt;
    if (url.path(QUrl::FullyDecoded) != basePath + u"/sonos/latest.mp3"_s || !url.hasQuery())
        return std::nullopt;

    // Split by hand: every "&"-separated piece counts, empty ones included.
    const QStringList items = url.query(QUrl::FullyEncoded).split(u'&');
    if (items.size() != 2)
        return std::nullopt;
    std::optional<QString> language;
    std::optional<QString> category;
    for (const QString &item : items) {
        const qsizetype equals = item.indexOf(u'=');
        const QString name = QUrl::fromPercentEncoding(item.left(equals < 0 ? item.size() : equals).toUtf8());
        const QString value = equals < 0 ? QString() : QUrl::fromPercentEncoding(item.mid(equals + 1).toUtf8());
        if (name == u"language"_s && !language)
            language = value;
        else if (name == u"category"_s && !category)
            category = value;
        else
            return std::nullopt;
    }
    if (!recognizedLanguages.contains(*language) || !recognizedCategories.contains(*category))
        return std::nullopt;
    return std::pair{*language, *category};
}

bool NewsSchedule::valid() const
{
    if (roomID.isEmpty() || hour < 0 || hour > 23 || minute < 0 || minute > 59 || days.empty() || volume < 0 || volume > 100)
        return false;
    for (int day : days) {
        if (day < 0 || day > 6)
            return false;
    }
    return NewsSource::recognizedLanguages.contains(language) && category == u"latest"_s;
}

QString NewsSchedule::recurrence() const
{
    if (days == std::set<int>{0, 1, 2, 3, 4, 5, 6})
        return u"DAILY"_s;
    QString out = u"ON_"_s;
    for (int day : days)
        out += QString::number(day);
    return out;
}

QString NewsSchedule::startTime() const
{
    return QString::asprintf("%02d:%02d:00", hour, minute);
}

QUrl NewsSchedule::audioURL(const NewsSource &source) const
{
    return source.address(u"sonos/latest.mp3"_s, {{u"language"_s, language}, {u"category"_s, category}});
}

std::optional<std::set<int>> NewsSchedule::daysFor(const QString &recurrence)
{
    if (recurrence == u"DAILY"_s)
        return std::set<int>{0, 1, 2, 3, 4, 5, 6};
    if (recurrence == u"WEEKDAYS"_s)
        return std::set<int>{1, 2, 3, 4, 5};
    if (recurrence == u"WEEKENDS"_s)
        return std::set<int>{0, 6};
    if (!recurrence.startsWith(u"ON_"_s))
        return std::nullopt;
    std::set<int> out;
    for (QChar c : QStringView(recurrence).mid(3)) {
        // ASCII digits only: other scripts' digits are not days.
        if (c < u'0' || c > u'9')
            return std::nullopt;
        out.insert(c.unicode() - u'0');
    }
    return out;
}

} // namespace velotte

#pragma once

#include <QList>
#include <QPair>
#include <QString>
#include <QStringList>
#include <QUrl>

#include <optional>
#include <set>
#include <utility>

namespace velotte {

// Where the daily news lives and which alarm programs are news. The host is
// a constant of the program that only the [services] settings replace.
class NewsSource {
public:
    // The path is fixed whatever the settings say: only the host may move.
    explicit NewsSource(const QUrl &base = defaultBase());

    static QUrl defaultBase();
    static const QString basePath;
    // "english" and "japanese" are current; "bilingual" is read only so old
    // schedules can still be paused and deleted.
    static const QStringList recognizedLanguages;
    static const QStringList recognizedCategories;

    const QUrl &base() const { return m_base; }
    // The base with one more path component and the query items in order.
    QUrl address(const QString &component, const QList<QPair<QString, QString>> &query = {}) const;
    // (language, category) when `uri` is the news program address.
    std::optional<std::pair<QString, QString>> selection(const QString &uri) const;

private:
    QUrl m_base;
};

// A morning-news alarm as the program sees it.
struct NewsSchedule {
    std::optional<QString> id; // none until created on the speakers
    QString roomID;
    int hour = 7;
    int minute = 0;
    std::set<int> days; // 0 = Sunday … 6 = Saturday
    int volume = 20;
    bool enabled = true;
    QString language = QStringLiteral("english");
    QString category = QStringLiteral("latest");

    bool valid() const;
    QString recurrence() const;
    // "HH:MM:00", the speaker's form and the sort key.
    QString startTime() const;
    QUrl audioURL(const NewsSource &source) const;
    static std::optional<std::set<int>> daysFor(const QString &recurrence);

    bool operator==(const NewsSchedule &) const = default;
};

} // namespace velotte

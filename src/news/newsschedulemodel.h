#pragma once

#include "newsschedule.h"

#include <QAbstractListModel>

namespace velotte {

class NewsScheduleController;

// The controller's schedules as rows for the news pane.
class NewsScheduleModel : public QAbstractListModel {
    Q_OBJECT
public:
    enum Role {
        ScheduleIDRole = Qt::UserRole + 1,
        RoomIDRole,
        HourRole,
        MinuteRole,
        TimeRole, // "06:45"
        DaysRole, // list of 0 (Sunday) … 6
        VolumeRole,
        EnabledRole,
        LanguageRole,
        CategoryRole,
    };
    Q_ENUM(Role)

    explicit NewsScheduleModel(const NewsScheduleController &controller);
    int rowCount(const QModelIndex &parent = {}) const override;
    QVariant data(const QModelIndex &index, int role = Qt::DisplayRole) const override;
    QHash<int, QByteArray> roleNames() const override;

private:
    const NewsScheduleController &m_controller;
};

} // namespace velotte

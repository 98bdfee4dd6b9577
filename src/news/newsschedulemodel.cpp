#include "newsschedulemodel.h"

#include "newsschedulecontroller.h"

namespace velotte {

NewsScheduleModel::NewsScheduleModel(const NewsScheduleController &controller) : m_controller(controller)
{
    // Lists are a handful of alarms that change only when read again.
    connect(&controller, &NewsScheduleController::schedulesChanged, this, [this] {
        beginResetModel();
        endResetModel();
    });
}

int NewsScheduleModel::rowCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : int(m_controller.schedules().size());
}

QVariant NewsScheduleModel::data(const QModelIndex &index, int role) const
{
    if (!index.isValid() || index.row() >= m_controller.schedules().size())
        return {};
    const NewsSchedule &s = m_controller.schedules()[index.row()];
    switch (role) {
    case ScheduleIDRole: return s.id.value_or(QString());
    case RoomIDRole: return s.roomID;
    case HourRole: return s.hour;
    case MinuteRole: return s.minute;
    case Qt::DisplayRole:
    case TimeRole: return QString::asprintf("%02d:%02d", s.hour, s.minute);
    case DaysRole: {
        QVariantList days;
        for (int d : s.days)
            days.append(d);
        return days;
    }
    case VolumeRole: return s.volume;
    case EnabledRole: return s.enabled;
    case LanguageRole: return s.language;
    case CategoryRole: return s.category;
    default: return {};
    }
}

QHash<int, QByteArray> NewsScheduleModel::roleNames() const
{
    return {{ScheduleIDRole, "scheduleID"}, {RoomIDRole, "roomID"},   {HourRole, "hour"},       {MinuteRole, "minute"},
            {TimeRole, "time"},             {DaysRole, "days"},       {VolumeRole, "volume"},   {EnabledRole, "enabled"},
            {LanguageRole, "language"},     {CategoryRole, "category"}};
}

} // namespace velotte

#include "sleeptimer.h"

#include "speakeraction.h"

namespace velotte {

using namespace Qt::Literals::StringLiterals;
using namespace std::chrono_literals;

QCoro::Task<void> SleepTimer::set(HttpTransport &transport, QString host, std::optional<qint64> millis)
{
    constexpr qint64 day = 24 * 3600 * 1000;
    // An empty duration is how the speaker is told to stop counting.
    const QString duration = millis && *millis >= 1000 ? Soap::clock(std::min(*millis, day - 1000)) : QString();
    const Soap::Fields fields{{u"InstanceID"_s, u"0"_s}, {u"NewSleepTimerDuration"_s, duration}};
    co_await speakerAction(transport, host, Soap::transportPath, Soap::avTransport, u"ConfigureSleepTimer"_s, fields, 10s);
}

QCoro::Task<std::optional<qint64>> SleepTimer::remaining(HttpTransport &transport, QString host)
{
    const Soap::Fields fields{{u"InstanceID"_s, u"0"_s}};
    const QString reply = co_await speakerAction(transport, host, Soap::transportPath, Soap::avTransport, u"GetRemainingSleepTimerDuration"_s, fields, 10s);
    const qint64 left = Soap::millis(Soap::tag(u"RemainingSleepTimerDuration"_s, reply).value_or(QString()));
    co_return left > 0 ? std::optional<qint64>(left) : std::nullopt;
}

} // namespace velotte

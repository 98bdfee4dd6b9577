#include "speakeraction.h"

namespace velotte {

QCoro::Task<QString> speakerAction(HttpTransport &transport, QString host, QString path, QString service, QString action, Soap::Fields fields,
                                   std::chrono::milliseconds timeout, CancelToken cancel)
{
    HttpResponse response;
    try {
        response = co_await Soap::postShort(transport, host, path, service, action, fields, timeout, cancel);
    } catch (const Cancelled &) {
        throw;
    } catch (const std::exception &) {
        throw SpeakerFault::noAnswer();
    }
    if (const auto fault = SpeakerFault::of(response))
        throw *fault;
    // The short form counts exactly 200 as done.
    if (response.status != 200)
        throw SpeakerFault::refused(response.status);
    co_return QString::fromUtf8(response.body);
}

} // namespace velotte

#pragma once

#include "soap.h"
#include "speakerfault.h"

#include <QCoroTask>

#include <chrono>

namespace velotte {

// One short-form action to a speaker: the reply text of a 200 answer without
// an errorCode, else the SpeakerFault that says why (no answer for a transport
// error or time-out, local control off, or a refusal with the speaker's code).
// Cancelled passes through.
QCoro::Task<QString> speakerAction(HttpTransport &transport, QString host, QString path, QString service, QString action, Soap::Fields fields,
                                   std::chrono::milliseconds timeout, CancelToken cancel = {});

} // namespace velotte

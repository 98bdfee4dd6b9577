#pragma once

#include "core/http.h"
#include "core/wakeup.h"
#include "kit/fakehttpserver.h"

#include <functional>

namespace velotte::test {

// Hands requests straight to a fake's handler: the whole cloud without a
// socket, for tests on the virtual clock. A gate can hold replies back.
class DirectTransport final : public HttpTransport {
public:
    using Handler = std::function<fake::Response(const fake::Request &)>;
    explicit DirectTransport(Handler handler) : m_handler(std::move(handler)) {}

    QCoro::Task<HttpResponse> send(HttpRequest request, CancelToken cancel = {}) override
    {
        cancel.throwIfCancelled();
        fake::Request r;
        r.method = request.method;
        r.target = request.url.toEncoded(QUrl::RemoveScheme | QUrl::RemoveAuthority);
        r.url = QUrl(QStringLiteral("http://fake") + QString::fromUtf8(r.target));
        r.headers = request.headers;
        r.body = request.body;
        ++sent;
        const fake::Response answer = m_handler(r);
        if (hold) {
            Wakeup gate;
            held.push_back(gate);
            co_await gate;
        }
        cancel.throwIfCancelled();
        if (answer.noAnswer || answer.hangUp)
            throw TransportError(TransportError::Kind::Timeout, QStringLiteral("no answer"));
        co_return HttpResponse{answer.status, answer.body, answer.headers};
    }

    void release()
    {
        auto gates = std::move(held);
        held.clear();
        for (auto &g : gates)
            g.fire();
    }

    int sent = 0;
    bool hold = false;
    std::vector<Wakeup> held;

private:
    Handler m_handler;
};

} // namespace velotte::test

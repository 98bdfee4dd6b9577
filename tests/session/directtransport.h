#pragma once

#include "core/http.h"
#include "core/wakeup.h"
#include "kit/fakehttpserver.h"

#include <functional>

namespace velotte::test {

// Hands requests straight to a fake's handler: the whole cloud without a
// socket, for tests on the virtual clock. Replies can be held back (all, or
// those a predicate picks) and released in any order, to test what happens
// when an older reply arrives after a newer one. The answer is made when the
// request arrives: a held reply tells the state of that moment.
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
        const fake::Response answer = m_handler(r);
        if (hold || (holdIf && holdIf(r))) {
            Wakeup gate;
            held.push_back({r, gate});
            co_await gate;
        }
        cancel.throwIfCancelled();
        if (answer.noAnswer || answer.hangUp)
            throw TransportError(TransportError::Kind::Timeout, QStringLiteral("no answer"));
        co_return HttpResponse{answer.status, answer.body, answer.headers};
    }

    // Lets every held reply go.
    void release() { releaseWhere([](const fake::Request &) { return true; }); }
    // Lets the held replies go whose requests `pick` chooses; the rest stay.
    void releaseWhere(const std::function<bool(const fake::Request &)> &pick)
    {
        std::vector<Held> go;
        std::erase_if(held, [&](const Held &h) { return pick(h.request) && (go.push_back(h), true); });
        for (auto &h : go)
            h.gate.fire();
    }

    struct Held {
        fake::Request request;
        Wakeup gate;
    };
    bool hold = false;
    std::function<bool(const fake::Request &)> holdIf;
    std::vector<Held> held;

private:
    Handler m_handler;
};

} // namespace velotte::test

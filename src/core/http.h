#pragma once

#include "cancel.h"
#include "failure.h"

#include <QByteArray>
#include <QCoroTask>
#include <QList>
#include <QPair>
#include <QString>
#include <QUrl>

#include <chrono>
#include <functional>
#include <stdexcept>

namespace velotte {

using Headers = QList<QPair<QByteArray, QByteArray>>;

// A finished request, as the program's clients build it in one place.
struct HttpRequest {
    QByteArray method = "GET";
    QUrl url;
    Headers headers;
    QByteArray body;
    std::chrono::milliseconds timeout{60000};
    bool cookies = true;
    qint64 maxBytes = 32 * 1024 * 1024; // larger replies are refused, not buffered

    QByteArray header(QByteArrayView name) const;
    void setHeader(const QByteArray &name, const QByteArray &value);
};

struct HttpResponse {
    int status = 0;
    QByteArray body;
    Headers headers;

    // Case-insensitive; empty when absent.
    QByteArray header(QByteArrayView name) const;
    bool hasHeader(QByteArrayView name) const;
    bool ok() const { return status >= 200 && status <= 299; }
};

// The request never produced an HTTP reply: no route, refused, time-out,
// TLS failure, or a reply too large to take.
class TransportError : public Failure {
public:
    enum class Kind { Network, Timeout, Tls, TooLarge, BadRequest };
    TransportError(Kind kind, const QString &detail) : Failure(detail), m_kind(kind) {}
    Kind kind() const { return m_kind; }
    QString sentence() const override;

private:
    Kind m_kind;
};

// Request in; status, body and header fields out. Throws TransportError or
// Cancelled.
class HttpTransport {
public:
    virtual ~HttpTransport() = default;
    virtual QCoro::Task<HttpResponse> send(HttpRequest request, CancelToken cancel = {}) = 0;
};

// A transport made of a function: unit tests script replies with it.
class FunctionTransport final : public HttpTransport {
public:
    using Fn = std::function<QCoro::Task<HttpResponse>(HttpRequest, CancelToken)>;
    explicit FunctionTransport(Fn fn) : m_fn(std::move(fn)) {}
    QCoro::Task<HttpResponse> send(HttpRequest request, CancelToken cancel = {}) override
    {
        return m_fn(std::move(request), std::move(cancel));
    }

private:
    Fn m_fn;
};

} // namespace velotte

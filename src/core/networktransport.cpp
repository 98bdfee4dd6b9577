#include "networktransport.h"

#include "logging.h"

#include <QCoroNetworkReply>
#include <QCoreApplication>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QNetworkRequest>
#include <QPointer>

namespace velotte {

NetworkTransport::NetworkTransport(QNetworkAccessManager *manager) : m_manager(manager) {}

NetworkTransport &NetworkTransport::shared()
{
    static auto *manager = new QNetworkAccessManager(QCoreApplication::instance());
    static NetworkTransport transport(manager);
    return transport;
}

void NetworkTransport::abortAll()
{
    const auto replies = m_manager->findChildren<QNetworkReply *>(Qt::FindDirectChildrenOnly);
    for (QNetworkReply *reply : replies) {
        if (reply->isRunning())
            reply->abort();
    }
}

QCoro::Task<HttpResponse> NetworkTransport::send(HttpRequest request, CancelToken cancel)
{
    cancel.throwIfCancelled();
    if (!request.url.isValid() || request.url.scheme().isEmpty())
        throw TransportError(TransportError::Kind::BadRequest, QStringLiteral("invalid address"));

    QNetworkRequest req(request.url);
    for (const auto &[name, value] : request.headers)
        req.setRawHeader(name, value);
    req.setTransferTimeout(int(request.timeout.count()));
    if (!request.cookies) {
        req.setAttribute(QNetworkRequest::CookieLoadControlAttribute, QNetworkRequest::Manual);
        req.setAttribute(QNetworkRequest::CookieSaveControlAttribute, QNetworkRequest::Manual);
    }

    QNetworkReply *reply = nullptr;
    if (request.method == "GET")
        reply = m_manager->get(req);
    else if (request.method == "HEAD")
        reply = m_manager->head(req);
    else
        reply = m_manager->sendCustomRequest(req, request.method, request.body);

    QPointer<QNetworkReply> guard(reply);
    bool cancelled = false;
    bool tooLarge = false;
    const qint64 maxBytes = request.maxBytes;
    QObject::connect(reply, &QNetworkReply::downloadProgress, reply, [&tooLarge, reply, maxBytes](qint64 received, qint64) {
        if (received > maxBytes && !tooLarge) {
            tooLarge = true;
            reply->abort();
        }
    });
    {
        CancelGuard abortOnCancel(cancel, [&cancelled, guard] {
            cancelled = true;
            if (guard)
                guard->abort();
        });
        co_await qCoro(reply).waitForFinished();
    }
    QObject::disconnect(reply, &QNetworkReply::downloadProgress, nullptr, nullptr);
    reply->deleteLater();

    if (cancelled)
        throw Cancelled();
    if (tooLarge)
        throw TransportError(TransportError::Kind::TooLarge, QStringLiteral("reply larger than %1 bytes").arg(maxBytes));

    const QVariant status = reply->attribute(QNetworkRequest::HttpStatusCodeAttribute);
    if (!status.isValid()) {
        const auto error = reply->error();
        qCDebug(lcNet) << request.method << request.url.toDisplayString(QUrl::RemoveQuery) << "failed:" << reply->errorString();
        if (error == QNetworkReply::TimeoutError || error == QNetworkReply::OperationCanceledError)
            throw TransportError(TransportError::Kind::Timeout, reply->errorString());
        if (error == QNetworkReply::SslHandshakeFailedError)
            throw TransportError(TransportError::Kind::Tls, reply->errorString());
        throw TransportError(TransportError::Kind::Network, reply->errorString());
    }

    HttpResponse response;
    response.status = status.toInt();
    response.body = reply->readAll();
    for (const auto &pair : reply->rawHeaderPairs())
        response.headers.append(pair);
    co_return response;
}

} // namespace velotte

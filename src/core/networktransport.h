#pragma once

#include "http.h"

class QNetworkAccessManager;

namespace velotte {

// HttpTransport on QNetworkAccessManager: per-request transfer time-out,
// cookies switchable per request, certificate errors never ignored.
class NetworkTransport final : public HttpTransport {
public:
    explicit NetworkTransport(QNetworkAccessManager *manager);
    QCoro::Task<HttpResponse> send(HttpRequest request, CancelToken cancel = {}) override;

    // One manager for the whole process, created on first use.
    static NetworkTransport &shared();
    // Ends every request still in flight (they fail as time-outs), so a
    // program that is about to exit leaves no task waiting on the network.
    void abortAll();

private:
    QNetworkAccessManager *m_manager;
};

} // namespace velotte

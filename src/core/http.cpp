#include "http.h"

namespace velotte {

namespace {
QByteArray find(const Headers &headers, QByteArrayView name, bool *found = nullptr)
{
    for (const auto &[key, value] : headers) {
        if (key.compare(name, Qt::CaseInsensitive) == 0) {
            if (found)
                *found = true;
            return value;
        }
    }
    if (found)
        *found = false;
    return {};
}
} // namespace

QByteArray HttpRequest::header(QByteArrayView name) const { return find(headers, name); }

void HttpRequest::setHeader(const QByteArray &name, const QByteArray &value)
{
    for (auto &entry : headers) {
        if (entry.first.compare(name, Qt::CaseInsensitive) == 0) {
            entry.second = value;
            return;
        }
    }
    headers.append({name, value});
}

QByteArray HttpResponse::header(QByteArrayView name) const { return find(headers, name); }

bool HttpResponse::hasHeader(QByteArrayView name) const
{
    bool found = false;
    find(headers, name, &found);
    return found;
}

QString TransportError::sentence() const
{
    switch (m_kind) {
    case Kind::Timeout: return QStringLiteral("The request timed out.");
    case Kind::Tls: return QStringLiteral("A secure connection to the server couldn’t be made.");
    case Kind::TooLarge: return QStringLiteral("The server sent more data than expected.");
    case Kind::BadRequest: return QStringLiteral("The address of the request is not valid.");
    case Kind::Network: break;
    }
    return QStringLiteral("Could not connect to the server.");
}

} // namespace velotte

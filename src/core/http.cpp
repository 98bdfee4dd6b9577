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

} // namespace velotte

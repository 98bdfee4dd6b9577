#include "fakenews.h"

#include "kit/registry.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QUrlQuery>

namespace velotte::fake {

using namespace Qt::Literals::StringLiterals;

namespace {
const QString basePath = u"/api/public/news-shadowing"_s;
const QHash<QString, QString> titles{
    {u"english"_s, u"Dawnlet: the morning briefing"_s},
    {u"japanese"_s, u"Dawnlet 朝のニュース"_s},
};
const QString videoID = u"dQw4-w9WgXc"_s;
} // namespace

const QStringList FakeNews::faultNames{u"none"_s,        u"short-clip"_s,    u"long-clip"_s,  u"stale"_s,       u"future"_s,
                                       u"bad-id"_s,      u"wrong-type"_s,    u"bad-date"_s,   u"missing-key"_s, u"not-json"_s,
                                       u"server-error"_s, u"audio-missing"_s, u"audio-type"_s, u"audio-empty"_s, u"audio-huge"_s};

FakeNews::FakeNews(QObject *parent) : QObject(parent) {}

FakeNews::~FakeNews() = default;

bool FakeNews::start(const QHostAddress &address, quint16 port)
{
    m_server = std::make_unique<HttpServer>([this](const Request &r) { return handle(r); }, this);
    return m_server->listen(address, port);
}

QUrl FakeNews::base() const
{
    QUrl url = m_server->baseUrl();
    url.setPath(basePath);
    return url;
}

bool FakeNews::inject(const QString &name)
{
    const qsizetype i = faultNames.indexOf(name);
    if (i < 0)
        return false;
    fault = Fault(i);
    return true;
}

QByteArray FakeNews::audio()
{
    // MPEG-1 layer III frame headers (128 kbit/s, 44.1 kHz) over silence.
    QByteArray frame(417, '\0');
    frame[0] = char(0xFF);
    frame[1] = char(0xFB);
    frame[2] = char(0x90);
    frame[3] = char(0x64);
    return QByteArray("ID3\x03\x00\x00\x00\x00\x00\x00", 10) + frame.repeated(8);
}

QByteArray FakeNews::bulletin(const QString &language) const
{
    const QDateTime now = QDateTime::currentDateTimeUtc();
    QDateTime published = now.addSecs(-ageSeconds);
    if (fault == Fault::stale)
        published = now.addDays(-8);
    else if (fault == Fault::future)
        published = now.addDays(1);
    QString date = published.toString(u"yyyy-MM-dd'T'HH:mm:ss.zzz'Z'"_s);
    if (fault == Fault::badDate)
        date = published.toString(u"yyyy-MM-dd'T'HH:mm:ss"_s);

    QJsonObject o{
        {u"videoID"_s, fault == Fault::badID ? u"dQw4w.9WgXc"_s : videoID},
        {u"title"_s, titles.value(language, u"Dawnlet"_s)},
        {u"language"_s, language},
        {u"category"_s, u"latest"_s},
        {u"publishedAt"_s, date},
        {u"clipSeconds"_s, fault == Fault::shortClip ? 179 : fault == Fault::longClip ? 721 : 412},
        {u"contentType"_s, fault == Fault::wrongType ? u"audio/aac"_s : u"audio/mpeg"_s},
        {u"source"_s, u"Tamsel · Calyx"_s},
    };
    if (fault == Fault::missingKey)
        o.remove(u"clipSeconds"_s);
    return QJsonDocument(o).toJson(QJsonDocument::Compact);
}

Response FakeNews::handle(const Request &request)
{
    const QString path = request.path();
    if (path == basePath + u"/sonos/latest"_s && request.method == "GET") {
        ++bulletinRequests;
        const QUrlQuery query(request.url);
        const QString language = query.queryItemValue(u"language"_s);
        if (fault == Fault::serverError)
            return Response::json(R"({"error":"unavailable"})", 503);
        if (fault == Fault::notJSON)
            return Response::text("<html><body>Maintenance</body></html>", "text/html");
        if (!titles.contains(language) || query.queryItemValue(u"category"_s) != u"latest"_s)
            return Response::json(R"({"error":"no such feed"})", 404);
        return Response::json(bulletin(language));
    }
    if (path == basePath + u"/sonos/audio/"_s + videoID + u".mp3"_s && (request.method == "GET" || request.method == "HEAD")) {
        if (request.method == "HEAD")
            ++headRequests;
        if (fault == Fault::audioMissing)
            return Response::text("not found", "text/plain", 404);
        Response r = Response::text(audio(), fault == Fault::audioType ? "text/html; charset=utf-8" : "audio/mpeg");
        if (request.method == "HEAD" && fault == Fault::audioEmpty)
            r.header("Content-Length", "0");
        if (request.method == "HEAD" && fault == Fault::audioHuge)
            r.header("Content-Length", "20000001");
        return r;
    }
    return Response::text("not found", "text/plain", 404);
}

namespace {
const Registration registration({
    "news",
    [](QCommandLineParser &parser) {
        parser.addOption(QCommandLineOption(u"news-address"_s, u"Loopback address of the fake news service (default 127.0.0.1)."_s, u"address"_s,
                                            u"127.0.0.1"_s));
        parser.addOption(QCommandLineOption(u"news-port"_s, u"Port of the fake news service (default: any free one)."_s, u"port"_s, u"0"_s));
        parser.addOption(QCommandLineOption(u"news-fault"_s, u"Make every bulletin break one rule: "_s + FakeNews::faultNames.join(u", "_s) + u'.',
                                            u"fault"_s, u"none"_s));
    },
    [](const QCommandLineParser &parser, QObject *parent) -> QStringList {
        const QHostAddress address(parser.value(u"news-address"_s));
        if (!address.isLoopback())
            return {u"error: --news-address must be a loopback address"_s};
        auto *news = new FakeNews(parent);
        if (!news->inject(parser.value(u"news-fault"_s)))
            return {u"error: unknown news fault \"%1\""_s.arg(parser.value(u"news-fault"_s))};
        if (!news->start(address, quint16(parser.value(u"news-port"_s).toUInt())))
            return {u"error: cannot listen on %1 port %2"_s.arg(address.toString(), parser.value(u"news-port"_s))};
        return {news->base().toString(), u"use: [services] news=%1 in velotte.conf"_s.arg(news->base().toString())};
    },
});
} // namespace

} // namespace velotte::fake

#include "fakemodel.h"

#include "kit/registry.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

namespace velotte::fake {

using namespace Qt::Literals::StringLiterals;

FakeModel::FakeModel(QObject *parent) : QObject(parent), m_server([this](const Request &r) { return handle(r); }, this) {}

FakeModel::Answer FakeModel::answerNamed(const QString &name, bool *ok)
{
    const QList<std::pair<QString, Answer>> names = {{u"valid"_s, Answer::valid},  {u"bad-indices"_s, Answer::badIndices},
                                                     {u"malformed"_s, Answer::malformed}, {u"down"_s, Answer::down},
                                                     {u"silent"_s, Answer::silent}};
    for (const auto &[n, a] : names) {
        if (n == name) {
            if (ok)
                *ok = true;
            return a;
        }
    }
    if (ok)
        *ok = false;
    return Answer::valid;
}

namespace {

QByteArray completion(const QString &model, const QString &content)
{
    const QJsonObject message{{u"role"_s, u"assistant"_s}, {u"content"_s, content}};
    const QJsonObject body{
        {u"id"_s, u"chatcmpl-1"_s},
        {u"object"_s, u"chat.completion"_s},
        {u"created"_s, 1764000000},
        {u"model"_s, model},
        {u"choices"_s, QJsonArray{QJsonObject{{u"index"_s, 0}, {u"message"_s, message}, {u"finish_reason"_s, u"stop"_s}}}},
        {u"usage"_s, QJsonObject{{u"prompt_tokens"_s, 180}, {u"completion_tokens"_s, 40}, {u"total_tokens"_s, 220}}},
    };
    return QJsonDocument(body).toJson(QJsonDocument::Compact);
}

} // namespace

Response FakeModel::handle(const Request &request)
{
    requests.append(request);
    if (answer == Answer::down)
        return Response::json(R"({"error":{"code":503,"message":"Loading model","type":"unavailable_error"}})", 503);
    const QString path = request.path();
    if (request.method == "GET" && path == u"/v1/models"_s) {
        const QJsonObject entry{{u"id"_s, modelName}, {u"object"_s, u"model"_s}, {u"owned_by"_s, u"llamacpp"_s}};
        return Response::json(QJsonDocument(QJsonObject{{u"object"_s, u"list"_s}, {u"data"_s, QJsonArray{entry}}}).toJson(QJsonDocument::Compact));
    }
    if (request.method != "POST" || path != u"/v1/chat/completions"_s)
        return Response::json(R"({"error":{"code":404,"message":"File Not Found","type":"not_found_error"}})", 404);
    completions.append(request);
    if (QJsonDocument::fromJson(request.body).isNull())
        return Response::json(R"({"error":{"code":400,"message":"invalid JSON","type":"invalid_request_error"}})", 400);

    switch (answer) {
    case Answer::malformed:
        return Response::json(completion(modelName, u"{\"title\": \"Evening\", \"reason\": \"Calm\", \"indices\": [1, 0"_s));
    case Answer::badIndices: {
        const QJsonObject mix{{u"title"_s, title}, {u"reason"_s, reason}, {u"indices"_s, QJsonArray{-1, 99, 99, -7}}};
        return Response::json(completion(modelName, QString::fromUtf8(QJsonDocument(mix).toJson(QJsonDocument::Compact))));
    }
    case Answer::silent: {
        Response r;
        r.noAnswer = true;
        return r;
    }
    case Answer::valid:
    case Answer::down:
        break;
    }
    QJsonArray list;
    for (const int i : indices)
        list.append(i);
    const QJsonObject mix{{u"title"_s, title}, {u"reason"_s, reason}, {u"indices"_s, list}};
    return Response::json(completion(modelName, QString::fromUtf8(QJsonDocument(mix).toJson(QJsonDocument::Compact))));
}

namespace {
const Registration registration({
    "model",
    [](QCommandLineParser &parser) {
        parser.addOption(QCommandLineOption(u"model-port"_s, u"Port of the fake model server (default: any free port)."_s, u"port"_s, u"0"_s));
        parser.addOption(QCommandLineOption(u"model-answer"_s, u"How the model server answers: valid, bad-indices, malformed, down or silent."_s,
                                            u"kind"_s, u"valid"_s));
    },
    [](const QCommandLineParser &parser, QObject *parent) -> QStringList {
        bool known = false;
        const FakeModel::Answer answer = FakeModel::answerNamed(parser.value(u"model-answer"_s), &known);
        if (!known)
            return {u"error: unknown model answer \"%1\""_s.arg(parser.value(u"model-answer"_s))};
        auto *model = new FakeModel(parent);
        model->answer = answer;
        if (!model->listen(QHostAddress::LocalHost, quint16(parser.value(u"model-port"_s).toUInt())))
            return {u"error: cannot listen on the model port"_s};
        return {u"model server at %1 ([services] model)"_s.arg(model->baseUrl().toString())};
    },
});
} // namespace

} // namespace velotte::fake

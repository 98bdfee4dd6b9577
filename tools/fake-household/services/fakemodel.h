#pragma once

#include "kit/fakehttpserver.h"

#include <QList>
#include <QString>

namespace velotte::fake {

// A local OpenAI-compatible model server (the shape llama.cpp's server and
// Ollama share): "/v1/models" and "/v1/chat/completions". It records every
// request and answers as the test asks.
class FakeModel : public QObject {
    Q_OBJECT
public:
    enum class Answer {
        valid,      // a mix with the given indices
        badIndices, // repeated, negative and out-of-range indices only
        malformed,  // message content that is not JSON
        down,       // 503 to everything, the model list included
        silent,     // lists its model but never answers a completion
    };

    explicit FakeModel(QObject *parent = nullptr);
    bool listen(const QHostAddress &address = QHostAddress::LocalHost, quint16 port = 0) { return m_server.listen(address, port); }
    QUrl baseUrl() const { return m_server.baseUrl(); }

    Answer answer = Answer::valid;
    QString modelName = QStringLiteral("velotte-test-model");
    QString title = QStringLiteral("Evening Wind-Down");
    QString reason = QStringLiteral("Starts quiet and stays unhurried.");
    QList<int> indices = {1, 0};
    QList<Request> requests;
    QList<Request> completions; // the chat-completion requests only

    static Answer answerNamed(const QString &name, bool *ok = nullptr);

private:
    Response handle(const Request &request);
    HttpServer m_server;
};

} // namespace velotte::fake

#pragma once

#include "core/cancel.h"
#include "core/failure.h"
#include "core/http.h"

#include <QCoroTask>
#include <QJsonObject>
#include <QList>
#include <QString>
#include <QStringList>
#include <QUrl>

#include <chrono>
#include <optional>

namespace velotte {

// One candidate as the model sees it.
struct MusicHit {
    QString title;
    QString artist;
    std::optional<QUrl> artwork;
    QStringList genres;
};

// The model's answer: a name, one line of why, and candidate indices in
// playback order (not yet cleaned; see MixSelectionRules).
struct GeneratedMusicMix {
    QString title;
    QString reason;
    QList<int> indices;
};

// The model could not be asked or its answer could not be read.
class MixComposerError : public Failure {
public:
    using Failure::Failure;
    QString sentence() const override;
};

// Asks a local OpenAI-compatible model server (llama.cpp, Ollama) to arrange
// a mix out of candidates the user already has, with the answer constrained
// to a JSON schema. The model only picks and orders; it never adds music.
class MusicMixComposer {
public:
    MusicMixComposer(QUrl baseUrl, HttpTransport &transport);

    // Time allowed for the availability probe and for one mix.
    void setProbeTimeout(std::chrono::milliseconds timeout) { m_probeTimeout = timeout; }
    void setAnswerTimeout(std::chrono::milliseconds timeout) { m_answerTimeout = timeout; }
    // The model name sent with each request; the probe fills it from the
    // server's list when it was not set.
    void setModel(const QString &model) { m_model = model; }
    QString model() const { return m_model; }

    static QString instructions();
    static QString candidateLine(int index, const MusicHit &hit);
    static QString prompt(const QString &mood, const QList<MusicHit> &candidates);
    static QJsonObject schema();
    static QByteArray schemaJson(); // the same, with the properties in generation order
    HttpRequest request(const QString &mood, const QList<MusicHit> &candidates) const;
    // Reads the answer of the chat completion; throws MixComposerError.
    static GeneratedMusicMix decode(const QByteArray &body);

    // Whether the server answers its model list in time; never throws
    // except Cancelled.
    QCoro::Task<bool> isAvailable(CancelToken cancel = {});
    // Throws MixComposerError, TransportError or Cancelled.
    QCoro::Task<GeneratedMusicMix> select(QString mood, QList<MusicHit> candidates, CancelToken cancel = {});

private:
    QUrl endpoint(const QString &path) const;

    QUrl m_baseUrl;
    HttpTransport &m_transport;
    QString m_model;
    std::chrono::milliseconds m_probeTimeout{1500};
    std::chrono::milliseconds m_answerTimeout{60000};
};

// The first `count` characters of a text, counted in code points, so a
// surrogate pair is never cut in half.
QString leftCharacters(const QString &text, qsizetype count);

} // namespace velotte

#pragma once

#include "core/cancel.h"
#include "core/http.h"

#include <QCoroTask>
#include <QHash>
#include <QStringList>

#include <optional>

namespace velotte {

// The household's Apple Music account number, the "sn=" of every Apple Music
// address ("…?sid=204&flags=8224&sn=5"). Households carry numbers other than
// 1, and an address with a number the household does not use is refused, so
// it is learned from what the speakers already hold: their favorites, the
// queue and the alarm list.
class AppleMusicAccount {
public:
    static constexpr int fallback = 1;

    explicit AppleMusicAccount(HttpTransport &transport) : m_transport(transport) {}

    // The number most Apple Music entries in these replies carry (the first
    // seen wins a tie); none when no entry is Apple Music.
    static std::optional<int> learn(const QStringList &replies);
    // Reads the favorites, the queue and the alarm list of the speaker at
    // `host`; none when nothing there tells the number.
    QCoro::Task<std::optional<int>> read(QString host, CancelToken cancel = {});
    // The household's number: learned once and kept, `fallback` while
    // nothing tells.
    QCoro::Task<int> number(QString household, QString host, CancelToken cancel = {});

private:
    HttpTransport &m_transport;
    std::shared_ptr<QHash<QString, int>> m_learned = std::make_shared<QHash<QString, int>>();
};

} // namespace velotte

#pragma once

#include <QObject>
#include <QPointer>
#include <QUuid>

namespace velotte {

// A staleness token: work that can be overtaken draws a fresh value before
// its first await; whoever overtakes it draws again.
class Token {
public:
    Token() : m_value(QUuid::createUuid()) {}
    const QUuid &draw()
    {
        m_value = QUuid::createUuid();
        return m_value;
    }
    const QUuid &value() const { return m_value; }

private:
    QUuid m_value;
};

// What a coroutine asks after every co_await: is my owner still there, and
// is the token I drew still the current one? Without a token it asks only
// the first. The token must live as long as the owner (a member of it, or
// of the object that owns it).
class StillCurrent {
public:
    explicit StillCurrent(const QObject *owner) : m_owner(owner) {}
    StillCurrent(const QObject *owner, const Token &token) : m_owner(owner), m_token(&token), m_drawn(token.value()) {}
    // Draws a fresh value first: this work overtakes whatever held the token.
    static StillCurrent drawing(const QObject *owner, Token &token)
    {
        token.draw();
        return StillCurrent(owner, token);
    }

    bool alive() const { return !m_owner.isNull(); }
    explicit operator bool() const { return alive() && (!m_token || m_token->value() == m_drawn); }
    const QUuid &drawn() const { return m_drawn; }

private:
    QPointer<const QObject> m_owner;
    const Token *m_token = nullptr;
    QUuid m_drawn;
};

} // namespace velotte

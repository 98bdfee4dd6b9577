#pragma once

#include "kit/fakehttpserver.h"

#include <QString>

// Replies captured from real speakers (tests/data/local, each file naming its
// public source), as the fake speakers serve them.
namespace velotte::fake::captures {

// A capture's text without its source lines.
QString text(const QString &name);
// The children of a captured reply's response element, from a whole
// envelope or from a body fragment.
QString body(const QString &name);
// `xml` with the text of its first element `name` replaced by `value`.
QString withElement(QString xml, const QString &name, const QString &value);
// The actions list a speaker sends for what it plays: "single" (a queue of
// one), "first" (the first of a queue), "queue", "stream", "member" (a
// speaker that follows another).
QString actions(const QString &situation);
// The captured UPnP fault (HTTP 500, UPnPError, no description) with `code`.
Response fault(int code);
// A captured device description made this speaker's: its id, address and
// room in place of the captured ones.
QString description(const QString &model, const QString &id, const QString &host, const QString &room);

} // namespace velotte::fake::captures

#pragma once

#include <QByteArray>

#include <xcb/xcb.h>

#include <cstdlib>

namespace velotte {

// The atom a name stands for on an X connection; none when the server does not answer.
inline xcb_atom_t xcbAtom(xcb_connection_t *c, const char *name)
{
    xcb_intern_atom_reply_t *reply = xcb_intern_atom_reply(c, xcb_intern_atom(c, 0, uint16_t(qstrlen(name)), name), nullptr);
    const xcb_atom_t atom = reply ? reply->atom : xcb_atom_t(XCB_ATOM_NONE);
    std::free(reply);
    return atom;
}

} // namespace velotte

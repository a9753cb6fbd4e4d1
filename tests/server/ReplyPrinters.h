#pragma once

#include "server/Authorize.h"

#include <ostream>

// How GoogleTest shows replies and decisions.
namespace harrowmint {

inline void PrintTo(const HTTPReply& reply, std::ostream* out)
{
    *out << reply.status << " \"" << reply.message.toStdString() << '"';
    if (reply.origin)
        *out << " to " << reply.origin->toStdString();
    *out << (reply.preflight ? ", preflight" : "") << (reply.privateNetwork ? ", private network" : "");
}

inline void PrintTo(const PrintReceipt& print, std::ostream* out)
{
    *out << "print for " << print.origin.toStdString();
}

inline void PrintTo(const Pair& pair, std::ostream* out)
{
    *out << "pair " << pair.origin.toStdString();
}

} // namespace harrowmint

// Opening of socket links that another thread can interrupt through an eventfd.
#pragma once

#include <cstdint>

#include "quarlo-links.h"

namespace quarlo::links {

/** As quarloLink_ConnectTcp; gives up with ECANCELED when wake (-1: none) is raised. */
quarloLink* connectTcp(const char* host, UInt16 port, int wake, std::int64_t deadline,
                       quarloLinkFailure* failure);
/** As quarloListener_Accept; gives up with ECANCELED when wake is raised. */
quarloLink* acceptLink(const quarloListener& listener, int wake, std::int64_t deadline,
                       quarloLinkFailure* failure);

}  // namespace quarlo::links

// Connecting to TCP servers in a way that another thread can interrupt through an eventfd.
#pragma once

#include <cstdint>

#include "quarlo-link.h"

struct addrinfo;

namespace quarlo::links {

/** As quarloLink_ConnectTcp; gives up with ECANCELED when wake (-1: none) is raised. */
quarloLink* connectTcp(const char* host, UInt16 port, int wake, std::int64_t deadline,
                       quarloLinkFailure* failure);

/** Connects to the first of the addresses that answers. @return the socket, or -1 and an error */
int connectToAny(const addrinfo* addresses, int wake, std::int64_t deadline, int& error);

}  // namespace quarlo::links

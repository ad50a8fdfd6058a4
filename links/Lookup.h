// Names to addresses. A name is looked up on a thread of its own, because the system's lookup can
// be neither limited nor interrupted; who does not want to wait any longer leaves it behind.
#pragma once

#include <netdb.h>

#include <cstddef>
#include <cstdint>

#include "quarlo-link.h"

namespace quarlo::links {

/** The addresses of a host, owned. */
class AddressList {
  public:
    AddressList() = default;
    ~AddressList();
    AddressList(const AddressList&) = delete;
    AddressList& operator=(const AddressList&) = delete;

    /** @param host a numeric address @param flags AI_PASSIVE to listen @return 0 or EAI_... */
    int read(const char* host, UInt16 port, int flags);
    /** As read, or looks up a name until the deadline or until wake (-1: none) is raised.
     * @return whether it was found; if not, failure says "what name" and why */
    bool find(const char* host, UInt16 port, int wake, std::int64_t deadline,
              quarloLinkFailure* failure, const char* what, const char* name);

    addrinfo* first = nullptr;
};

/** Says why a lookup came to nothing; error is errno for EAI_SYSTEM. */
void describeLookup(quarloLinkFailure* failure, int result, int error, const char* what,
                    const char* name);

}  // namespace quarlo::links

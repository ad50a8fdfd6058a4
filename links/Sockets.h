// Accepting of phones that another thread can interrupt through an eventfd.
#pragma once

#include <cstdint>

#include "quarlo-links.h"

namespace quarlo::links {

/** As quarloListener_Accept; gives up with ECANCELED when wake is raised. */
quarloLink* acceptLink(const quarloListener& listener, int wake, std::int64_t deadline,
                       quarloLinkFailure* failure);

}  // namespace quarlo::links

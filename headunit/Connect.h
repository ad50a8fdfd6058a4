/*
 * Opens the byte stream to the phone with the transport library. The main thread opens and closes;
 * in between a Session uses it.
 */
#ifndef HEADUNIT_CONNECT_H
#define HEADUNIT_CONNECT_H

#include <memory>
#include <string>

#include "Values.h"
#include "quarlo-links.h"

namespace quarlo::headunit {

struct CloseLink {
    void operator()(quarloLink* link) const { quarloLink_Close(link); }
};
using Link = std::unique_ptr<quarloLink, CloseLink>;

/**
 * Connects within the time given, and gives up when the descriptor interrupts becomes readable.
 * @return nothing and why
 */
Link connectTo(const Endpoint& endpoint, double seconds, int interrupts, std::string& error);

}  // namespace quarlo::headunit

#endif

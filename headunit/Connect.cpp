#include "Connect.h"

namespace quarlo::headunit {
namespace {

quarloLink* open(const Endpoint& endpoint, double seconds, int interrupts,
                 quarloLinkFailure* failure) {
    if (!endpoint.path.empty()) return quarloLink_ConnectUnix(endpoint.path.c_str(), failure);
    if (!endpoint.device.empty()) {
        return quarloLink_OpenSerial(endpoint.device.c_str(), endpoint.baudRate, 0, failure);
    }
    const auto limit = static_cast<UInt32>(seconds * 1000);
    return quarloLink_ConnectTcpInterruptibly(endpoint.host.c_str(), endpoint.port, limit,
                                              interrupts, failure);
}

}  // namespace

Link connectTo(const Endpoint& endpoint, double seconds, int interrupts, std::string& error) {
    quarloLinkFailure failure{};
    Link link(open(endpoint, seconds, interrupts, &failure));
    if (!link) error = failure.text;
    return link;
}

}  // namespace quarlo::headunit

// Ties links to instances. The attached links form a list with a lock of its own; it is looked into
// by the end-receiver request and by session callbacks, which know nothing but the context. Any
// thread may call in; the lock is never held across a call into the library.
#include "Link.h"
#include "Wait.h"

namespace quarlo::links {
namespace {

std::mutex registryLock;
quarloLink* attached = nullptr;  // guarded by registryLock

quarloLink* find(const void* context) {
    quarloLink* link = attached;
    while (link != nullptr && link->context != context) link = link->next;
    return link;
}

void remove(quarloLink& link) {
    for (quarloLink** at = &attached; *at != nullptr; at = &(*at)->next) {
        if (*at != &link) continue;
        *at = link.next;
        return;
    }
}

bool enter(quarloLink& link, void* context) {
    const std::lock_guard<std::mutex> lock(registryLock);
    const quarloLink* holder = find(context);
    if (holder != nullptr && holder != &link) return false;
    remove(link);
    link.context = context;
    link.next = attached;
    attached = &link;
    return true;
}

// Undoes an earlier stop; a broken link stays broken, and awake.
void rearm(quarloLink& link) {
    link.isStopped.store(false);
    link.isStopSeen.store(false);
    if (!link.isBroken.load()) drain(link.wake);
}

}  // namespace

quarloSession* sessionOf(void* context) {
    const std::lock_guard<std::mutex> lock(registryLock);
    const quarloLink* link = find(context);
    return link != nullptr ? link->session : nullptr;
}

void forget(quarloLink& link) {
    const std::lock_guard<std::mutex> lock(registryLock);
    remove(link);
}

}  // namespace quarlo::links

using namespace quarlo::links;

eReturnCode quarloLink_Attach(quarloLink* link, void* instance, void* context) {
    if (link == nullptr) return eRETURN_NULL_PARAM;
    if (instance == nullptr) return eRETURN_NULL_HANDLE;
    if (quarlo_GetConnectionInfo(instance) != link) return eRETURN_PARAM_VALUE;
    if (context == nullptr) context = instance;
    if (!enter(*link, context)) return eRETURN_NOT_ALLOWED;
    rearm(*link);
    link->isAttached.store(true);
    quarlo_SetCallbackContext(instance, context);
    quarlo_SetReceiverLink(instance, quarloLink_Receive);
    quarlo_SetSenderLink(instance, quarloLink_Send);
    return quarlo_SetEndReceiverRequestCallback(instance, quarloLink_EndReceiverRequest);
}

void quarloLink_EndReceiverRequest(void* context) {
    const std::lock_guard<std::mutex> lock(registryLock);
    quarloLink_Stop(find(context));
}

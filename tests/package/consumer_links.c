/* The smallest user of the transports: a listener and a link to it. Prints the library's version.
 */
#include <quarlo-links.h>
#include <stdio.h>

int main(void) {
    quarloLinkFailure failure = {0, ""};
    quarloListener* listener = quarloListener_OpenTcp(NULL, 0, &failure);
    quarloLink* link =
        quarloLink_ConnectTcp("127.0.0.1", quarloListener_GetPort(listener), 0, &failure);
    void* instance;
    quarlo_Init();
    instance = quarlo_CreateInstance(link, "consumer");
    if (quarloLink_Attach(link, instance, NULL) == eRETURN_OKAY) puts(quarlo_GetVersion());
    quarlo_DeleteInstance(instance);
    quarloLink_Close(link);
    quarloListener_Close(listener);
    quarlo_Shutdown();
    if (failure.number != 0) fprintf(stderr, "%s\n", failure.text);
    return failure.number != 0;
}

/* One connection without a session: opens a link of any kind and makes it an instance's transport.
 */
#include <quarlo-links.h>
#include <semaphore.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

static sem_t ended;

/* Waits for one phone to connect. */
static quarloLink* acceptOne(const char* address, UInt16 port, quarloLinkFailure* failure) {
    quarloListener* listener = quarloListener_OpenTcp(address, port, failure);
    quarloLink* link = NULL;
    if (listener != NULL) link = quarloListener_Accept(listener, 60000, failure);
    quarloListener_Close(listener);
    return link;
}

static quarloLink* openLink(const char* kind, const char* place, const char* number,
                            quarloLinkFailure* failure) {
    const long value = strtol(number, NULL, 10);
    if (strcmp(kind, "tcp") == 0) {
        return quarloLink_ConnectTcp(place, (UInt16)value, 3000, failure);
    }
    if (strcmp(kind, "tcp-server") == 0) return acceptOne(place, (UInt16)value, failure);
    if (strcmp(kind, "unix") == 0) return quarloLink_ConnectUnix(place, failure);
    if (strcmp(kind, "serial") == 0) {
        return quarloLink_OpenSerial(place, (UInt32)value, 1, failure);
    }
    /* What another service opened: a Bluetooth socket, a USB endpoint, a pair of pipes. */
    return quarloLink_FromDescriptors(atoi(place), (int)value, failure);
}

/* Receiver thread. Nothing is deleted here: the main thread is woken. */
static void onProtocol(void* context, eProtocolState state) {
    (void)context;
    printf("protocol state %d\n", (int)state);
    if (state == ePROTOCOL_STATE_STOP) sem_post(&ended);
}

int main(int argc, char** argv) {
    quarloLinkFailure failure = {.size = sizeof failure};
    char text[120];
    quarloLink* link;
    void* instance;
    if (argc < 3) {
        fputs("usage: links_attach tcp|tcp-server|unix|serial|descriptors PLACE [NUMBER]\n",
              stderr);
        return 2;
    }
    link = openLink(argv[1], argv[2], argc > 3 ? argv[3] : argv[2], &failure);
    if (link == NULL) {
        fprintf(stderr, "links_attach: %s\n", failure.text);
        return 1;
    }
    sem_init(&ended, 0, 0);
    quarlo_Init();
    instance = quarlo_CreateInstance(link, "links attach");
    quarloLink_Attach(link, instance, NULL); /* receiver, sender, end request, context */
    quarlo_SetProtocolCallback(instance, onProtocol);
    quarlo_StartMainThread(instance);
    while (sem_wait(&ended) != 0) continue;
    quarlo_DeleteInstance(instance); /* first: its threads use the link */
    quarloLink_GetEndText(link, text, sizeof text);
    printf("links_attach: %s, %llu bytes received, %llu sent\n", text,
           (unsigned long long)quarloLink_GetBytesReceived(link),
           (unsigned long long)quarloLink_GetBytesSent(link));
    quarloLink_Close(link);
    quarlo_Shutdown();
    return 0;
}

/* The smallest complete host: mirrors a phone's screen over TCP and counts what arrives. */
#define _POSIX_C_SOURCE 200809L
#include <QUARLO-Core.h>
#include <arpa/inet.h>
#include <errno.h>
#include <netinet/tcp.h>
#include <pthread.h>
#include <semaphore.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

enum { WIDTH = 1280, HEIGHT = 720 };

typedef struct {
    void* quarlo;
    int socket;
    pthread_mutex_t sending;
    unsigned long updates, pixels;
} Host;

static sem_t ended; /* posted when the session is over, and by Ctrl-C */

/* Receiver thread. */
static size_t receiveBytes(void* context, UInt8* buffer, size_t size, void* connection) {
    ssize_t count;
    (void)connection;
    if (size == 0) return 0; /* the library's buffer is full */
    count = recv(((Host*)context)->socket, buffer, size, 0);
    if (count > 0) return (size_t)count;
    if (count < 0 && errno == EINTR) return 0;
    return count == 0 || errno == ECONNRESET ? (size_t)-1 : (size_t)-2;
}

/* Every thread that sends: one whole packet after the other. */
static void sendBytes(void* context, UInt8* buffer, size_t size, void* connection) {
    Host* host = context;
    (void)connection;
    pthread_mutex_lock(&host->sending);
    while (size > 0) {
        const ssize_t count = send(host->socket, buffer, size, MSG_NOSIGNAL);
        if (count < 0 && errno == EINTR) continue;
        if (count < 0) { /* half a packet is on its way: nobody may send or receive any more */
            shutdown(host->socket, SHUT_RDWR);
            break;
        }
        buffer += count;
        size -= (size_t)count;
    }
    pthread_mutex_unlock(&host->sending);
}

/* The thread that deletes: wakes recv(), which close() would not. */
static void endReceiver(void* context) {
    shutdown(((Host*)context)->socket, SHUT_RDWR);
}

/* Receiver thread: RUN begins the session, STOP ends it. */
static void onProtocol(void* context, eProtocolState state) {
    if (state == ePROTOCOL_STATE_STOP) sem_post(&ended);
    if (state != ePROTOCOL_STATE_RUN) return;
    quarlo_FramebufferUpdateRequest(((Host*)context)->quarlo, 0, 0, WIDTH, HEIGHT, eFLAG_FALSE);
}

static void onUpdateStart(void* context, UInt8 numberOfRectangles) {
    (void)context, (void)numberOfRectangles;
}

/* Receiver thread: one rectangle of an update; its data are gone when this returns. */
static void onRectangle(void* context, UInt8 index, UInt16 x, UInt16 y, UInt16 width, UInt16 height,
                        UInt8* data, UInt32 dataLength) {
    (void)index, (void)x, (void)y, (void)data; /* a real host copies the rows to its screen */
    if (dataLength >= 4UL * width * height) ((Host*)context)->pixels += 1UL * width * height;
}

/* Receiver thread: the update is shown, so the next one is wanted. */
static void onUpdateEnd(void* context) {
    ((Host*)context)->updates++;
    quarlo_FramebufferUpdateRequest(((Host*)context)->quarlo, 0, 0, WIDTH, HEIGHT, eFLAG_TRUE);
}

static void onError(void* context, eErrorCode code) {
    (void)context;
    fprintf(stderr, "minimal_host: error %d\n", (int)code);
}

static void onInterrupt(int number) {
    (void)number;
    sem_post(&ended);
}

static void configure(Host* host) {
    quarlo_SetCallbackContext(host->quarlo, host);
    quarlo_SetReceiverLink(host->quarlo, receiveBytes);
    quarlo_SetSenderLink(host->quarlo, sendBytes);
    quarlo_SetEndReceiverRequestCallback(host->quarlo, endReceiver);
    quarlo_SetProtocolCallback(host->quarlo, onProtocol);
    quarlo_SetErrorCallback(host->quarlo, onError);
    quarlo_SetFrameUpdateStartCallback(host->quarlo, onUpdateStart);
    quarlo_SetFrameUpdateCallback(host->quarlo, onRectangle);
    quarlo_SetFrameUpdateEndCallback(host->quarlo, onUpdateEnd);
    quarlo_SetFrameSize(host->quarlo, WIDTH, HEIGHT, 160, 90);
    quarlo_SetPixelFormat(host->quarlo, ePIXELFORMAT_ARGB8888, 4, ePIXELENDIANESS_LittleEndian);
}

int main(int argc, char** argv) {
    Host host = {.sending = PTHREAD_MUTEX_INITIALIZER};
    struct sockaddr_in phone = {.sin_family = AF_INET};
    const struct timeval limit = {.tv_sec = 5};
    const int yes = 1;
    Int32 errorNumber = 0;
    if (argc != 3 || inet_pton(AF_INET, argv[1], &phone.sin_addr) != 1) {
        fprintf(stderr, "usage: minimal_host ADDRESS PORT, e.g. 127.0.0.1 5910\n");
        return 2;
    }
    phone.sin_port = htons((UInt16)atoi(argv[2]));
    host.socket = socket(AF_INET, SOCK_STREAM, 0);
    if (connect(host.socket, (struct sockaddr*)&phone, sizeof phone) != 0) {
        perror("minimal_host: cannot connect");
        return 1;
    }
    setsockopt(host.socket, IPPROTO_TCP, TCP_NODELAY, &yes, sizeof yes);
    setsockopt(host.socket, SOL_SOCKET, SO_SNDTIMEO, &limit, sizeof limit);
    sem_init(&ended, 0, 0);
    signal(SIGINT, onInterrupt);

    quarlo_Init();
    host.quarlo = quarlo_CreateInstance(NULL, "minimal host");
    configure(&host);
    if (quarlo_StartMainThreadEx(host.quarlo, &errorNumber)) {
        while (sem_wait(&ended) != 0) continue;
    }
    quarlo_DeleteInstance(host.quarlo);
    quarlo_Shutdown();
    close(host.socket); /* only now: no thread of the library uses it any more */
    printf("minimal_host: %lu updates, %lu pixels\n", host.updates, host.pixels);
    return host.updates == 0;
}

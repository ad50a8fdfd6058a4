/* See the header; integration.md explains the links and the order of the calls. */
#define _POSIX_C_SOURCE 200809L
#include "common.h"

#include <arpa/inet.h>
#include <errno.h>
#include <netinet/tcp.h>
#include <pthread.h>
#include <semaphore.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <time.h>
#include <unistd.h>

typedef struct {
    int socket;
    pthread_mutex_t sending;
} Connection;

static Connection connection = {.socket = -1, .sending = PTHREAD_MUTEX_INITIALIZER};
static sem_t running, stopped, events[EVENTS];

/* Receiver thread. */
static size_t receiveBytes(void* context, UInt8* buffer, size_t size, void* link) {
    ssize_t count;
    (void)context;
    if (size == 0) return 0;
    count = recv(((Connection*)link)->socket, buffer, size, 0);
    if (count > 0) return (size_t)count;
    if (count < 0 && errno == EINTR) return 0;
    return count == 0 || errno == ECONNRESET ? (size_t)-1 : (size_t)-2;
}

/* Every thread that sends. */
static void sendBytes(void* context, UInt8* buffer, size_t size, void* link) {
    Connection* to = link;
    (void)context;
    pthread_mutex_lock(&to->sending);
    while (size > 0) {
        const ssize_t count = send(to->socket, buffer, size, MSG_NOSIGNAL);
        if (count < 0 && errno == EINTR) continue;
        if (count < 0) {
            shutdown(to->socket, SHUT_RDWR);
            break;
        }
        buffer += count;
        size -= (size_t)count;
    }
    pthread_mutex_unlock(&to->sending);
}

/* The thread that deletes. This callback gets the context only, which belongs to the feature. */
static void endReceiver(void* context) {
    (void)context;
    shutdown(connection.socket, SHUT_RDWR);
}

/* Receiver thread. */
static void onProtocol(void* context, eProtocolState state) {
    (void)context;
    if (state == ePROTOCOL_STATE_RUN) sem_post(&running);
    if (state != ePROTOCOL_STATE_STOP) return;
    /* Whatever the main thread waits for, it will not come any more. */
    sem_post(&stopped);
    sem_post(&running);
    for (int i = 0; i < EVENTS; ++i) sem_post(&events[i]);
}

static void onError(void* context, eErrorCode code) {
    (void)context;
    fprintf(stderr, "error %d\n", (int)code);
}

/* 1 when the semaphore was posted in time. */
static int isPosted(sem_t* semaphore) {
    struct timespec end;
    int result;
    clock_gettime(CLOCK_REALTIME, &end);
    end.tv_sec += 10;
    do result = sem_timedwait(semaphore, &end);
    while (result != 0 && errno == EINTR);
    return result == 0;
}

static int hasStopped(void) {
    int posts = 0;
    return sem_getvalue(&stopped, &posts) == 0 && posts > 0;
}

static void connectTo(const char* address, const char* port) {
    struct sockaddr_in phone = {.sin_family = AF_INET};
    const struct timeval limit = {.tv_sec = 5};
    const int yes = 1;
    phone.sin_port = htons((UInt16)atoi(port));
    connection.socket = socket(AF_INET, SOCK_STREAM, 0);
    if (inet_pton(AF_INET, address, &phone.sin_addr) != 1 ||
        connect(connection.socket, (struct sockaddr*)&phone, sizeof phone) != 0) {
        perror("cannot connect");
        exit(1);
    }
    setsockopt(connection.socket, IPPROTO_TCP, TCP_NODELAY, &yes, sizeof yes);
    setsockopt(connection.socket, SOL_SOCKET, SO_SNDTIMEO, &limit, sizeof limit);
}

void* openSession(int argc, char** argv) {
    void* quarlo;
    if (argc != 3) {
        fprintf(stderr, "usage: %s ADDRESS PORT, e.g. 127.0.0.1 5910\n", argv[0]);
        exit(2);
    }
    connectTo(argv[1], argv[2]);
    setvbuf(stdout, NULL, _IOLBF, BUFSIZ);
    sem_init(&running, 0, 0);
    sem_init(&stopped, 0, 0);
    for (int i = 0; i < EVENTS; ++i) sem_init(&events[i], 0, 0);
    quarlo_Init();
    quarlo = quarlo_CreateInstance(&connection, "example");
    quarlo_SetReceiverLink(quarlo, receiveBytes);
    quarlo_SetSenderLink(quarlo, sendBytes);
    quarlo_SetEndReceiverRequestCallback(quarlo, endReceiver);
    quarlo_SetProtocolCallback(quarlo, onProtocol);
    quarlo_SetErrorCallback(quarlo, onError);
    quarlo_SetFrameSize(quarlo, WIDTH, HEIGHT, 160, 90);
    return quarlo;
}

int startSession(void* quarlo) {
    Int32 errorNumber = 0;
    return quarlo_StartMainThreadEx(quarlo, &errorNumber) && isPosted(&running) && !hasStopped();
}

void happened(int event) {
    sem_post(&events[event]);
}

int awaitEvent(int event) {
    return isPosted(&events[event]) && !hasStopped();
}

int closeSession(void* quarlo, int isGood) {
    /* The phone still gets what was sent, and hangs up when it sees the end of it. */
    shutdown(connection.socket, SHUT_WR);
    isPosted(&stopped);
    quarlo_DeleteInstance(quarlo);
    quarlo_Shutdown();
    close(connection.socket);
    return isGood ? 0 : 1;
}

void userOpens(void* quarlo, const char* app) {
    char url[64];
    snprintf(url, sizeof url, "quarlo://app/%s", app);
    quarlo_StartApp(quarlo, url, NULL, NULL);
}

/* Where the simulator draws the rows of its lists. */
static UInt16 middleOf(int row) {
    return (UInt16)(HEIGHT * (0.185 + 0.13 * (row + 0.5)));
}

static void touch(void* quarlo, TouchType event, UInt16 y) {
    TouchEvent finger = {event, WIDTH / 2, y, 1};
    quarlo_TouchEvents(quarlo, &finger, 1);
}

void userTaps(void* quarlo, int row) {
    touch(quarlo, eTOUCHTYPE_Down, middleOf(row));
    touch(quarlo, eTOUCHTYPE_Up, middleOf(row));
}

void userScrolls(void* quarlo) {
    touch(quarlo, eTOUCHTYPE_Down, HEIGHT - 30);
    touch(quarlo, eTOUCHTYPE_Moved, 30);
    touch(quarlo, eTOUCHTYPE_Up, 30);
}

/*
 * The phone's screen in a memory-mapped framebuffer device, as a head unit without a window system
 * has it. A plain file whose geometry is told serves too. Runs until SIGINT or SIGTERM; the phone
 * may come and go.
 */
#define _POSIX_C_SOURCE 200809L
#include <fcntl.h>
#include <linux/fb.h>
#include <quarlo-links.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <unistd.h>

typedef struct {
    UInt8* pixels; /* mapped; only the receiver thread draws */
    UInt16 width, height;
    size_t stride; /* bytes from one row to the next: a device pads its rows */
    void* quarlo;
    unsigned long updates;
} Display;

static int askDevice(int device, Display* display) {
    struct fb_var_screeninfo screen;
    struct fb_fix_screeninfo memory;
    if (ioctl(device, FBIOGET_VSCREENINFO, &screen) != 0) return 0;
    if (ioctl(device, FBIOGET_FSCREENINFO, &memory) != 0) return 0;
    if (screen.bits_per_pixel != 32 || screen.red.offset != 16) return 0; /* asked for below */
    display->width = (UInt16)screen.xres;
    display->height = (UInt16)screen.yres;
    display->stride = memory.line_length;
    return 1;
}

/* WIDTH HEIGHT STRIDE of a file that cannot tell them. */
static int takeGeometry(char** words, Display* display) {
    display->width = (UInt16)atoi(words[0]);
    display->height = (UInt16)atoi(words[1]);
    display->stride = strtoul(words[2], NULL, 10);
    return display->width > 0 && display->height > 0 && display->stride >= 4UL * display->width;
}

static int openDisplay(const char* path, int words, char** geometry, Display* display) {
    const int device = open(path, O_RDWR | O_CLOEXEC);
    void* mapped = MAP_FAILED;
    /* What is mapped behind the end of a file ends the process when it is written. */
    if (device >= 0 &&
        (words == 3 ? takeGeometry(geometry, display) &&
                          lseek(device, 0, SEEK_END) >= (off_t)(display->stride * display->height)
                    : askDevice(device, display))) {
        mapped = mmap(NULL, display->stride * display->height, PROT_READ | PROT_WRITE, MAP_SHARED,
                      device, 0);
    }
    if (device >= 0) close(device);
    if (mapped == MAP_FAILED) return 0;
    display->pixels = mapped;
    return 1;
}

/* Receiver thread, as all callbacks below. */
static void onUpdateStart(void* context, UInt8 numberOfRectangles) {
    (void)context, (void)numberOfRectangles;
}

/* guide: framebuffer */
static void onRectangle(void* context, UInt8 index, UInt16 x, UInt16 y, UInt16 width, UInt16 height,
                        UInt8* data, UInt32 dataLength) {
    Display* display = context;
    (void)index;
    /* What lies outside would be written behind the device's memory. */
    if (x + width > display->width || y + height > display->height) return;
    if (dataLength < 4UL * width * height) return;
    for (UInt16 row = 0; row < height; ++row) {
        memcpy(display->pixels + display->stride * (size_t)(y + row) + 4UL * x,
               data + 4UL * width * row, 4UL * width);
    }
}
/* guide end */

static void ask(const Display* display, Flag incremental) {
    quarlo_FramebufferUpdateRequest(display->quarlo, 0, 0, display->width, display->height,
                                    incremental);
}

static void onUpdateEnd(void* context) {
    Display* display = context;
    printf("update %lu is shown\n", ++display->updates);
    ask(display, eFLAG_TRUE);
}

static void onProtocol(void* context, eProtocolState state) {
    if (state == ePROTOCOL_STATE_RUN) ask(context, eFLAG_FALSE);
}

/* Session thread, before each connection. */
static eReturnCode configure(void* context, quarloSession* session, void* instance) {
    Display* display = context;
    (void)session;
    display->quarlo = instance;
    quarlo_SetFrameSize(instance, display->width, display->height, 160, 90);
    /* Blue, green, red and a spare byte in memory: what such devices have. */
    quarlo_SetPixelFormat(instance, ePIXELFORMAT_ARGB8888, 4, ePIXELENDIANESS_LittleEndian);
    quarlo_SetFrameUpdateStartCallback(instance, onUpdateStart);
    quarlo_SetFrameUpdateCallback(instance, onRectangle);
    quarlo_SetFrameUpdateEndCallback(instance, onUpdateEnd);
    return eRETURN_OKAY;
}

int main(int argc, char** argv) {
    static Display display;
    quarloTransport phone = {.size = sizeof phone, .kind = eTRANSPORT_TcpClient};
    quarloSessionConfig config = {.size = sizeof config,
                                  .transport = &phone,
                                  .description = "framebuffer",
                                  .context = &display,
                                  .configure = configure,
                                  .protocolCallback = onProtocol,
                                  .sendLimit = 2000};
    quarloLinkFailure failure = {.size = sizeof failure};
    quarloSession* session;
    sigset_t ends;
    int number;
    if (argc != 4 && argc != 7) {
        fputs("usage: framebuffer ADDRESS PORT DEVICE [WIDTH HEIGHT STRIDE]\n", stderr);
        return 2;
    }
    if (!openDisplay(argv[3], argc - 4, argv + 4, &display)) {
        fprintf(stderr, "framebuffer: %s is no framebuffer of 32 bits per pixel\n", argv[3]);
        return 1;
    }
    setvbuf(stdout, NULL, _IOLBF, BUFSIZ);
    phone.address = argv[1];
    phone.port = (UInt16)atoi(argv[2]);
    sigemptyset(&ends);
    sigaddset(&ends, SIGINT);
    sigaddset(&ends, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &ends, NULL); /* all threads to come leave them to sigwait() */
    quarlo_Init();
    session = quarloSession_Start(&config, &failure);
    if (session == NULL) fprintf(stderr, "framebuffer: %s\n", failure.text);
    if (session != NULL) sigwait(&ends, &number);
    quarloSession_Delete(session); /* first: its threads draw */
    quarlo_Shutdown();
    munmap(display.pixels, display.stride * display.height);
    return display.updates == 0;
}

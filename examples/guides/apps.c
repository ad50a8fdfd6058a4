/* The program of docs/guides/apps.md: a launcher of the head unit for the phone's apps. */
#include <stdio.h>
#include <string.h>

#include "../common.h"

enum { ICON = 48, MOST = 255 };
enum { CATALOGUE, ICONS, STARTED }; /* what the main thread waits for */

/* guide: catalogue */
typedef struct {
    void* quarlo;
    char urls[MOST][128]; /* main thread writes, before it asks for the first icon */
    unsigned count;
    unsigned icons; /* how many icons have been answered */
} Launcher;

/* Receiver thread: there is a new catalogue. Copy it on a thread that has time. */
static void onAppListChanged(void* context) {
    (void)context;
    happened(CATALOGUE);
}

/* Takes what the launcher needs out of the library's copy, and gives that back. */
static int copyCatalogue(Launcher* launcher) {
    UInt32 length = 0;
    AppInfoList* list = NULL;
    if (quarlo_CreateAppInfoList(launcher->quarlo, &length, &list) != eRETURN_OKAY) return 0;
    for (unsigned i = 0; i < list->NumberOfEntries; ++i) { /* not length */
        const AppInfo* app = list->Entries[i];
        snprintf(launcher->urls[i], sizeof launcher->urls[i], "%s", app->IdentifierURL);
        printf("%s: %s\n", app->IdentifierURL, app->Name != NULL ? app->Name : "");
    }
    launcher->count = list->NumberOfEntries;
    return quarlo_DeleteAppInfoList(launcher->quarlo, list) == eRETURN_OKAY;
}
/* guide end */

/* guide: icons */
static void requestNextIcon(Launcher* launcher) {
    const char* url;
    if (launcher->icons == launcher->count) {
        happened(ICONS); /* all are there */
        return;
    }
    url = launcher->urls[launcher->icons];
    if (quarlo_RequestAppIcon(launcher->quarlo, url, ICON, ICON) != eRETURN_OKAY) happened(ICONS);
}

/* Receiver thread. One request at a time, so the answer asks for the next; copy the pixels. */
static void onIcon(void* context, AppIconResponse* icon) {
    Launcher* launcher = context;
    const int isWhole = icon->uncompressedDataLength == 4 * ICON * ICON;
    printf("icon %u of %s is %s\n", (unsigned)icon->UniqueIconID, icon->IdentifierURL,
           isWhole ? "whole" : "missing");
    launcher->icons++;
    requestNextIcon(launcher);
}
/* guide end */

/* guide: start */
/* Receiver thread. */
static void onStarted(void* context, const char* identifierURL, AppStartStatus status) {
    (void)context;
    printf("start of %s: status %d\n", identifierURL, (int)status);
    if (status != eAPPSTARTSTATUS_InProgress) happened(STARTED);
}

static int start(void* quarlo, const char* url) {
    char key[] = "mode", value[] = "resume";
    KeyValue mode = {key, value};
    KeyValueList modes = {1, &mode}; /* copied by the call */
    return quarlo_StartApp(quarlo, url, &modes, NULL) == eRETURN_OKAY && awaitEvent(STARTED);
}
/* guide end */

/* guide: session */
static int launch(Launcher* launcher) {
    /* A catalogue that came before RUN is kept without a callback: look first, then wait. */
    if (!copyCatalogue(launcher) && !(awaitEvent(CATALOGUE) && copyCatalogue(launcher))) return 0;
    requestNextIcon(launcher);
    if (!awaitEvent(ICONS) || launcher->icons < launcher->count) return 0;
    return start(launcher->quarlo, launcher->urls[0]);
}
/* guide end */

int main(int argc, char** argv) {
    static Launcher launcher;
    void* quarlo = launcher.quarlo = openSession(argc, argv);
    int isGood;
    /* guide: setup */
    quarlo_SetCallbackContext(quarlo, &launcher);
    quarlo_SetPixelFormatEx(quarlo, eGRAPHICTYPE_Icon, ePIXELFORMAT_RGBA8888, 4,
                            ePIXELENDIANESS_BigEndian);
    quarlo_SetAppListChangedCallback(quarlo, onAppListChanged);
    quarlo_SetAppIconResponseCallback(quarlo, onIcon);
    quarlo_SetAppStartedResponseCallback(quarlo, onStarted);
    /* guide end */
    isGood = startSession(quarlo) && launch(&launcher);
    return closeSession(quarlo, isGood);
}

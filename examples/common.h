/*
 * What the programs of the guides have in common: a connection to the phone, a session over it, and
 * somebody who uses the phone simulator's screen. Everything about a feature stands in its program.
 */
#ifndef EXAMPLES_COMMON_H
#define EXAMPLES_COMMON_H

#include <QUARLO-Core.h>

enum { WIDTH = 640, HEIGHT = 360 }; /* of the phone's screen, in pixels */

/** Connects to the ADDRESS and PORT of the command line, or ends the program; an instance with its
 * links, which is not started yet. */
void* openSession(int argc, char** argv);

/** Starts the instance; 1 when the session has reached RUN, 0 when it came to nothing. */
int startSession(void* quarlo);

enum { EVENTS = 4 }; /* each program names its own, from 0 on */

/** Tells the main thread that what it waits for has happened. Any thread. */
void happened(int event);

/** Waits until it has happened once more; 0 when the session ended, or after ten seconds. */
int awaitEvent(int event);

/** Hangs up and frees everything; what main() returns. */
int closeSession(void* quarlo, int isGood);

/** Somebody opens an app of the phone simulator, taps on the n-th row of the list that it shows,
 * and scrolls nearly a screen. */
void userOpens(void* quarlo, const char* app);
void userTaps(void* quarlo, int row);
void userScrolls(void* quarlo);

#endif

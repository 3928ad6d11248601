/* What the files of vosmini share: commands, and the one way in which a command fails. */
#ifndef VOSMINI_H
#define VOSMINI_H

#include <stdbool.h>
#include <stdint.h>
#include <stdnoreturn.h>

enum {
    EXIT_FAILED = 1, /* what was asked could not be done */
    EXIT_USAGE = 2   /* the command line makes no sense */
};

/** Ends the program with one line on standard error. */
noreturn void fail(int status, const char *fmt, ...) __attribute__((format(printf, 2, 3)));

/** A number in decimal or with 0x; fails with what it should have been. */
uint32_t numberOf(const char *text, const char *what);

/** Prints foreign text with everything unprintable escaped. */
void printText(const char *text, uint32_t length);

/* Commands: the arguments behind the command's name, argv[argc] is NULL. */
int logCommand(int argc, char **argv);
int gateCommand(int argc, char **argv);
int idCommand(int argc, char **argv);
int runningCommand(int argc, char **argv);
int pingCommand(int argc, char **argv);
int requestCommand(int argc, char **argv);
int eventCommand(int argc, char **argv);
int heartbeatCommand(int argc, char **argv);
int poolCommand(int argc, char **argv);
int memoryCommand(int argc, char **argv);

#endif

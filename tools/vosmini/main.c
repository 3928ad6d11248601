/* vosmini: a look at a gateway's daemons where there is no room for vosctl. Needs the library, libc and any hub. */
#include <ctype.h>
#include <errno.h>
#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include "vosmini.h"

static const struct {
    const char *name;
    const char *arguments;
    int least;
    int most;
    int (*run)(int argc, char **argv);
    const char *does;
} kCommands[] = {
    {"log", "[NAME [level|destination|size VALUE]]", 0, 3, logCommand, "logs; settings and last call sites of one"},
    {"gate", "[on|off]", 0, 1, gateCommand, "diagnostics of all processes to syslog"},
    {"id", "NAME", 1, 1, idCommand, "entity id of a name"},
    {"running", "ENTITY", 1, 1, runningCommand, "whether the hub has it; exit status 1 if not"},
    {"ping", "[COUNT]", 0, 1, pingCommand, "round trips to the hub"},
    {"request", "ENTITY TYPE [WORD [HEX]]", 2, 4, requestCommand, "send a request, print the reply"},
    {"event", "ENTITY TYPE [WORD [HEX]]", 2, 4, eventCommand, "send an event"},
    {"heartbeat", "", 0, 0, heartbeatCommand, "tell the hub that somebody is alive"},
    {"pool", "KEY [ADDRESS]", 1, 2, poolCommand, "figures of a shared pool by its segment's key"},
    {"memory", "[PID]", 0, 1, memoryCommand, "memory of the gateway or of a process"},
};

void fail(int status, const char *fmt, ...) {
    va_list args;
    va_start(args, fmt);
    fputs("vosmini: ", stderr);
    vfprintf(stderr, fmt, args);
    fputc('\n', stderr);
    va_end(args);
    exit(status);
}

uint32_t numberOf(const char *text, const char *what) {
    char *end = NULL;
    errno = 0;
    const unsigned long long number = strtoull(text, &end, 0);
    if (!isdigit((unsigned char)*text) || *end != '\0' || errno != 0 || number > UINT32_MAX) {
        fail(EXIT_USAGE, "%s: '%s' is no number from 0 to 4294967295", what, text);
    }
    return (uint32_t)number;
}

void printText(const char *text, uint32_t length) {
    for (uint32_t i = 0; i < length && text[i] != '\0'; i++) {
        const unsigned char byte = (unsigned char)text[i];
        printf(byte >= 0x20 && byte < 0x7F ? "%c" : "\\x%02x", byte);
    }
}

static int usage(FILE *to, int status) {
    fputs("usage: vosmini COMMAND [ARGUMENT…]\n", to);
    for (size_t i = 0; i < sizeof kCommands / sizeof *kCommands; i++) {
        fprintf(to, "  %-9s %-38s %s\n", kCommands[i].name, kCommands[i].arguments, kCommands[i].does);
    }
    fputs("ENTITY is a name or an id; numbers are decimal or begin with 0x.\n", to);
    return status;
}

int main(int argc, char **argv) {
    if (argc < 2) {
        return usage(stderr, EXIT_USAGE);
    }
    if (strcmp(argv[1], "--help") == 0) {
        return usage(stdout, EXIT_SUCCESS);
    }
    for (size_t i = 0; i < sizeof kCommands / sizeof *kCommands; i++) {
        if (strcmp(argv[1], kCommands[i].name) != 0) {
            continue;
        }
        if (argc - 2 < kCommands[i].least || argc - 2 > kCommands[i].most) {
            fail(EXIT_USAGE, "usage: vosmini %s %s", kCommands[i].name, kCommands[i].arguments);
        }
        const int status = kCommands[i].run(argc - 2, argv + 2);
        if (fflush(stdout) != 0 || ferror(stdout)) {
            fail(EXIT_FAILED, "cannot write the output: %s", strerror(errno));
        }
        return status;
    }
    fail(EXIT_USAGE, "no command '%s'; 'vosmini --help' lists them", argv[1]);
}

/* The daemons' logs, through the segment that each shares, and the gate of the diagnostics. */
#include <dirent.h>
#include <errno.h>
#include <fcntl.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/ipc.h>
#include <sys/shm.h>
#include <sys/stat.h>
#include <unistd.h>
#include <vos/log.h>

#include "vosmini.h"

#define GATE_FILE "/tmp/logdbg"
#define KEY_DIRECTORY "/tmp"
#define KEY_PREFIX "logKey"

static const struct {
    const char *name;
    uint32_t value;
} kLevels[] = {{"none", VOS_LOG_LEVEL_NONE},     {"raw", VOS_LOG_LEVEL_RAW},     {"error", VOS_LOG_LEVEL_ERROR},
               {"notice", VOS_LOG_LEVEL_NOTICE}, {"debug", VOS_LOG_LEVEL_DEBUG}, {"devel", VOS_LOG_LEVEL_DEVEL}};

/* The segment of a name, NULL where it has none that can be attached. */
static LogSharedConfig *attach(const char *name, int flags) {
    char path[256];
    if (snprintf(path, sizeof path, VOS_LOG_KEY_FILE, name) >= (int)sizeof path) {
        return NULL;
    }
    const key_t key = ftok(path, VOS_LOG_KEY_ID);
    const int id = key == -1 ? -1 : shmget(key, sizeof(LogSharedConfig), 0);
    void *address = id < 0 ? (void *)-1 : shmat(id, NULL, flags);
    return address == (void *)-1 ? NULL : address;
}

static uint32_t levelOf(const char *text) {
    for (size_t i = 0; i < sizeof kLevels / sizeof *kLevels; i++) {
        if (strcmp(text, kLevels[i].name) == 0) {
            return kLevels[i].value;
        }
    }
    return numberOf(text, "level (none, raw, error, notice, debug, devel)");
}

static void printSettings(const char *name, const LogSharedConfig *config) {
    printText(name, (uint32_t)strlen(name));
    printf(": level %u destination %u size %u\n", __atomic_load_n(&config->level, __ATOMIC_RELAXED),
           __atomic_load_n(&config->destination, __ATOMIC_RELAXED),
           __atomic_load_n(&config->maxSize, __ATOMIC_RELAXED));
}

/* The oldest call site first; the writer's index may be anything. */
static void printCallSites(const LogSharedConfig *config) {
    const uint32_t next = __atomic_load_n(&config->callSiteNext, __ATOMIC_RELAXED);
    for (uint32_t i = 0; i < VOS_LOG_CALL_SITES; i++) {
        const char *site = config->callSites[(next % VOS_LOG_CALL_SITES + i) % VOS_LOG_CALL_SITES];
        if (*site != '\0') {
            fputs("  ", stdout);
            printText(site, VOS_LOG_CALL_SITE_SIZE);
            fputc('\n', stdout);
        }
    }
}

static void listLogs(void) {
    DIR *directory = opendir(KEY_DIRECTORY);
    if (directory == NULL) {
        fail(EXIT_FAILED, "cannot read %s: %s", KEY_DIRECTORY, strerror(errno));
    }
    const struct dirent *entry;
    while ((entry = readdir(directory)) != NULL) {
        const char *name = entry->d_name + strlen(KEY_PREFIX);
        if (strncmp(entry->d_name, KEY_PREFIX, strlen(KEY_PREFIX)) != 0 || *name == '\0') {
            continue;
        }
        LogSharedConfig *config = attach(name, SHM_RDONLY);
        if (config != NULL) {
            printSettings(name, config);
            shmdt(config);
        }
    }
    closedir(directory);
}

int logCommand(int argc, char **argv) {
    if (argc == 0) {
        listLogs();
        return EXIT_SUCCESS;
    }
    if (argc == 2) {
        fail(EXIT_USAGE, "usage: vosmini log NAME level|destination|size VALUE");
    }
    LogSharedConfig *config = attach(argv[0], argc == 3 ? 0 : SHM_RDONLY);
    if (config == NULL) {
        fail(EXIT_FAILED, "no log of '%s' can be attached; 'vosmini log' lists those there are", argv[0]);
    }
    if (argc == 3) {
        const bool isLevel = strcmp(argv[1], "level") == 0;
        uint32_t *setting = isLevel                               ? &config->level
                            : strcmp(argv[1], "destination") == 0 ? &config->destination
                            : strcmp(argv[1], "size") == 0        ? &config->maxSize
                                                                  : NULL;
        if (setting == NULL) {
            fail(EXIT_USAGE, "no setting '%s'; give level, destination or size", argv[1]);
        }
        __atomic_store_n(setting, isLevel ? levelOf(argv[2]) : numberOf(argv[2], argv[1]), __ATOMIC_RELAXED);
    }
    printSettings(argv[0], config);
    if (argc == 1) {
        printCallSites(config);
    }
    shmdt(config);
    return EXIT_SUCCESS;
}

int gateCommand(int argc, char **argv) {
    if (argc == 1 && strcmp(argv[0], "on") == 0) {
        const int fd = open(GATE_FILE, O_WRONLY | O_CREAT | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC, 0644);
        if (fd < 0) {
            fail(EXIT_FAILED, "cannot create %s: %s", GATE_FILE, strerror(errno));
        }
        close(fd);
    } else if (argc == 1 && strcmp(argv[0], "off") == 0) {
        if (unlink(GATE_FILE) != 0 && errno != ENOENT) {
            fail(EXIT_FAILED, "cannot remove %s: %s", GATE_FILE, strerror(errno));
        }
    } else if (argc == 1) {
        fail(EXIT_USAGE, "gate: give on or off");
    }
    printf("diagnostics %s\n", access(GATE_FILE, F_OK) == 0 ? "on" : "off");
    return EXIT_SUCCESS;
}

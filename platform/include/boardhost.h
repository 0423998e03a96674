/* The operating system under the daemon: start-up of the board's library, files, shell commands, wall clock.
 *
 * Every path that the daemon names is the device's ("/log/..."); board_path says where it is on this machine. On a real
 * board each of these is a thin wrapper over the C library. Every operation may be called from any thread. */
#ifndef KADREND_PLATFORM_BOARDHOST_H
#define KADREND_PLATFORM_BOARDHOST_H

#include <assert.h>
#include <stddef.h>
#include <sys/time.h>

/* Times run to 2099: a 32-bit board needs -D_FILE_OFFSET_BITS=64 -D_TIME_BITS=64, in its library too. */
static_assert(sizeof(time_t) == 8, "the board's library and the daemon agree on 64-bit times");

#ifdef __cplusplus
extern "C" {
#endif

/* First call of the process, before any other of the platform. 0; or -1 after a message on standard error, and the
 * daemon exits with status 1. */
int board_open(void);

/* Writes the machine's path of an absolute device path, NUL-terminated. 0, or -1 when it is not absolute, leads out of
 * the board's file system, or does not fit in `capacity` bytes. */
int board_path(const char* device_path, char* out, size_t capacity);

/* Returns when what was written to the open file survives a loss of the board's power, its name in its directory
 * included; for an open directory, when its names do. 0, or -1 when that cannot be promised. */
int board_sync_file(int fd);

/* Runs a shell command and waits for it: its exit status 0..255, or -1 when it could not be run. */
int board_system(const char* command);

/* Runs a shell command and stores its first line of output, at most capacity - 1 characters, NUL-terminated, its line
 * end kept. The number of characters, 0 when it wrote nothing, or -1 when it could not be run. */
int board_command_line(const char* command, char* line, size_t capacity);

/* The board's wall clock, in UTC. 0, or -1 when it may not be set. Local time is the C library's view of it. */
int board_clock_get(struct timeval* now);
int board_clock_set(const struct timeval* now);

#ifdef __cplusplus
}
#endif
#endif

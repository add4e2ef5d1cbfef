/**
 * @file host_launcher.h
 * @brief Starts the processes of an endpoint from one image.
 *
 * A call between processes carries the address of its handler, so all of them must have the same modules at the same
 * addresses. The launcher forks each process from itself, which gives exactly that. It restarts none by itself, reaps
 * all, and takes all down with it: a process whose launcher dies is killed by the kernel.
 *
 * Use a launcher from one thread, the one that created it, and keep that thread alive: the kernel ties the life of a
 * forked process to the thread that forked it. Fork before the launching process starts other threads.
 *
 * A forked process inherits the launcher but has no power over its sisters: there `TarnHostLauncherDestroy` only
 * releases it, and all other calls return EPERM.
 */
#ifndef TARN_HOST_HOST_LAUNCHER_H
#define TARN_HOST_HOST_LAUNCHER_H

#include "tarn_platform/platform_base.h"

TARN_EXTERN_C_BEGIN

/** Bytes of a process name, its NUL included. */
#define TARN_HOST_NAME_LEN 16

/** One process of an endpoint. */
typedef struct TarnHostProcess {
    const char* name;             /**< As `TarnHostSetProcessName` takes it; the process is given this name. */
    int (*entry)(void* argument); /**< Runs in the process; its result is the exit code. */
    void* argument;               /**< Handed to `entry`. */
} TarnHostProcess;

/**
 * The processes of an image for the program tarn_launch: a shared object exports one of these under the name
 * `TARN_HOST_IMAGE_SYMBOL`.
 */
typedef struct TarnHostImage {
    uint32_t version;                 /**< TARN_HOST_IMAGE_VERSION. */
    uint32_t count;                   /**< Entries at `processes`. */
    const TarnHostProcess* processes; /**< Started in this order. */
} TarnHostImage;

/** Value of `TarnHostImage.version`. */
#define TARN_HOST_IMAGE_VERSION 1
/** Exported name of an image's `TarnHostImage`. */
#define TARN_HOST_IMAGE_SYMBOL "tarnHostImage"

/** What a process that was started is doing, or how it ended. */
typedef struct TarnHostProcessState {
    char name[TARN_HOST_NAME_LEN]; /**< NUL-terminated. */
    uint32_t pid;                  /**< Of the process, or of the last one of this name. */
    uint32_t running;              /**< 1 while it runs, else 0. */
    int32_t exitCode; /**< Once it has ended by itself; -1 when another part of the program reaped it; else 0. */
    int32_t signal;   /**< The signal that ended it; else 0. */
} TarnHostProcessState;

/** A set of processes. */
typedef struct TarnHostLauncher TarnHostLauncher;

/**
 * @brief Makes an empty launcher.
 * @return the launcher, released with `TarnHostLauncherDestroy`; null without memory.
 */
TarnHostLauncher* TarnHostLauncherCreate(void);

/**
 * @brief Stops what still runs, as `TarnHostLauncherStop` does with a grace of 2 seconds, and releases the launcher.
 *        Null does nothing.
 * @param launcher  The launcher.
 */
void TarnHostLauncherDestroy(TarnHostLauncher* launcher);

/**
 * @brief Forks a process.
 * @param launcher  The launcher.
 * @param process   What to run. The name is copied; entry and argument are kept for a later start. A name that has run
 *                  before and has ended is started again, with the entry given now.
 * @return 0; EINVAL for a null argument or a bad name; EALREADY while a process of this name runs; ENOMEM, or fork's
 * errno.
 *
 * The process starts with default signal dispositions, no signal blocked, and nothing of the messages of its parent.
 */
uint32_t TarnHostLauncherStart(TarnHostLauncher* launcher, const TarnHostProcess* process);

/**
 * @brief Starts a process again after it has ended, as it was started last.
 * @param launcher  The launcher.
 * @param name      The process.
 * @return as `TarnHostLauncherStart`; ENOENT for a name that was never started.
 */
uint32_t TarnHostLauncherRestart(TarnHostLauncher* launcher, const char* name);

/**
 * @brief Tells how a process is.
 * @param launcher  The launcher.
 * @param name      The process.
 * @param state     Filled on success.
 * @return 0; EINVAL for a null argument; ENOENT for a name that was never started.
 */
uint32_t TarnHostLauncherState(TarnHostLauncher* launcher, const char* name, TarnHostProcessState* state);

/**
 * @brief Waits until any process ends.
 * @param launcher   The launcher.
 * @param timeoutMs  Longest wait in milliseconds.
 * @param ended      Filled on success. Each end is told once, in the order of starting when several ended; not
 *                   at all when its process was started again before.
 * @return 0; EINVAL for a null argument; ETIMEDOUT; ECHILD when none runs and no end is untold; else the errno with
 *         which waiting failed.
 */
uint32_t TarnHostLauncherWait(TarnHostLauncher* launcher, uint32_t timeoutMs, TarnHostProcessState* ended);

/**
 * @brief Sends SIGTERM to all that run, and SIGKILL to those that still run after a while; returns when all have ended.
 * @param launcher  The launcher.
 * @param graceMs   Milliseconds between the two.
 * @return 0; EINVAL for a null launcher; else the errno with which waiting failed: SIGKILL is sent by then, but some
 *         processes may still be ending.
 */
uint32_t TarnHostLauncherStop(TarnHostLauncher* launcher, uint32_t graceMs);

/**
 * @brief Runs until all processes have ended, or SIGINT or SIGTERM arrives, on which it stops them as
 *        `TarnHostLauncherStop` does; a second such signal ends the grace at once.
 * @param launcher  The launcher.
 * @param graceMs   Milliseconds between SIGTERM and SIGKILL.
 * @param onEnd     Called for each end that was not told yet; it may start processes again. May be null.
 * @param argument  Handed to `onEnd`.
 * @param signal    Receives the signal that ended the run, or 0; may be null.
 * @return 0 when all told ends had exit code 0; ECHILD when one had not; ECANCELED after a signal; EINVAL for a null
 *         launcher; else the errno with which waiting failed: processes may still run then.
 *
 * The two signals are blocked in the calling thread during the call.
 */
uint32_t TarnHostLauncherRun(TarnHostLauncher* launcher, uint32_t graceMs,
                             void (*onEnd)(const TarnHostProcessState* ended, void* argument), void* argument,
                             int* signal);

TARN_EXTERN_C_END

#endif

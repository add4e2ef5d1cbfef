/**
 * @file host_log.h
 * @brief How the host platform keeps logs, and the calls for tools that read them.
 *
 * Files. A process has one directory, "TARN_HOST_DIR/log/NAME" with its process name (`TarnHostSetProcessName`, to be
 * called first). While another live process has that one it is "TARN_HOST_DIR/log/NAME.PID"; whoever takes such a
 * directory removes those of dead processes of its name except the newest eight. A file of the name given in the
 * creation record stands there, and beside it its predecessors "FILE.1" (the newest), "FILE.2", ... A record that would
 * make the file longer than `maxFileBytes` starts a new one; `fileCount` predecessors are kept. A record is written at
 * once, with one write, so a process that is killed loses none.
 *
 * Lines. One record is
 *
 *     2026-01-31T09:05:00.042+01:00 ERROR process 812 815 conf_msg_api:77 [function]text
 *
 * local time with zone offset (ISO 8601-1), level (ALWAYS, ERROR, WARNING, INFO, DEBUG, or LEVEL-n), process name,
 * process id, thread id, source file and line, text. A newline at the end of the text is dropped; the lines behind one
 * inside it start with four blanks; other control characters (not the tab) and bytes that are not UTF-8 (RFC 3629)
 * appear as \\xNN. A text longer than `recordBytes` is cut at a character and ends with " [cut N bytes]".
 *
 * Trouble. A file that cannot be opened, written or rotated (a full disk, say) never stops the process: it says so once
 * on standard error, tries again with every record, says once that it works again, and puts a record into the file that
 * tells how many were lost. A file that cannot be rotated grows beyond its limit rather than losing records. Files and
 * directories that are removed while the process runs are made anew at once, those that are moved away within a second.
 *
 * Records without a file (id 0 before `TarnOmLogCreateLog`, an unknown id, or after `TarnOmLogClientUnInit`) are lost.
 *
 * Environment. When TARN_LOG_STDERR is set and neither empty nor "0", every record, also one without a file, is copied
 * to standard error. It is read at `TarnOmLogClientInit`, or at the first record if that comes earlier.
 *
 * Codes of the log client, `errno` values: `TarnOmLogClientInit` EINVAL for a null name (the name and the flag have no
 * other meaning here); `TarnOmLogClientUnInit` ENOTCONN without an init; `TarnOmLogCreateLog` EINVAL for a null
 * argument, a `recordBytes` of 0 or above 4096, a `fileCount` above 999, a `maxFileBytes` of 0 and a name that is
 * empty, unterminated, starts with '.' or holds '/', blanks or other than printable ASCII characters, ENOTCONN before
 * `TarnOmLogClientInit`, EMFILE beyond 16 files; all of them ENOMEM. A file that cannot be opened yet is no failure.
 * The same name gets the same id again, with the limits of the latest record.
 *
 * A forked child has the ids of its parent but a directory and files of its own from its first record on.
 */
#ifndef TARN_HOST_HOST_LOG_H
#define TARN_HOST_HOST_LOG_H

#include "tarn_platform/platform_base.h"

TARN_EXTERN_C_BEGIN

/**
 * @brief The log directory of a process.
 * @param processName  Name of the process, or "NAME.PID"; null for the calling process, with the directory that it has.
 * @param path         Receives the absolute path, NUL-terminated. Unchanged on failure.
 * @param pathBytes    Bytes at `path`.
 * @return 0; EINVAL for a null or empty `path` or a '/' in the name; ENOENT when the calling process has no log
 * directory or there is no host directory; ERANGE when the path does not fit; ENOMEM.
 *
 * The directory of another process is named, not looked for: it may not exist. Any thread may call it.
 */
uint32_t TarnHostLogDirectory(const char* processName, char* path, size_t pathBytes);

/**
 * @brief Records of this process that reached no file. Any thread may call it.
 * @return their number since the process started.
 */
uint64_t TarnHostLogLostRecords(void);

TARN_EXTERN_C_END

#endif

/**
 * @file host_message.h
 * @brief Receiving messages on the host platform, and who receives.
 *
 * The sending half is `tarn_platform/os_message.h`. Every receiver is a Unix-domain socket below the host directory;
 * only processes of the same user may connect, and only when the modules that both processes have loaded are the same
 * builds at the same addresses, because a call carries the address of its handler. A refused process gets a code at
 * once and one line on standard error that names the module.
 *
 * Results of all message calls of the host platform are 0 or an errno:
 *
 * | code | meaning |
 * |---|---|
 * | EINVAL | null argument; a name that is empty, too long, or no plain file name; payload missing |
 * | EMSGSIZE | payload or result block above 64 MiB + 4096 bytes |
 * | ECONNREFUSED | nobody receives under this name |
 * | ECONNRESET | the receiver ended, or closed the connection, before it answered |
 * | ETIMEDOUT | no answer within the timeout; an answer that comes later is dropped |
 * | ENOMSG | the receiver's callback returned without answering |
 * | EDEADLK | a synchronous call of a receiver to itself, from its own callback |
 * | ENOEXEC | the two processes do not run the same image |
 * | EPERM | the other process belongs to another user, or others may write to the host directory |
 * | EAGAIN | `OsMsgAsynSend`: the receiver has too many connections to take up; try again |
 * | EPROTO | what came from the other process is no answer |
 * | ENOBUFS | 256 MiB of asynchronous messages of this process wait for slow receivers already |
 * | EADDRINUSE | `OsMsgReceiverStart`: this name is received already, here or in another process |
 * | ENOENT | `OsMsgReceiverStop`: this process does not receive under this name |
 * | ENOMEM, EMFILE, ... | the system's own error, also of a host directory that cannot be used |
 *
 * `OsMsgAsynSend` queues what the receiver's socket has no room for; a thread of this process sends it on. A process
 * that ends through `exit` waits up to 2 seconds for its queues and reports what it had to drop. The refusal of an
 * image comes with the next send when the first one was asynchronous.
 *
 * A forked child has no receivers and no connections: it starts clean. One that is forked inside the callback is ended
 * when it returns from it.
 *
 * Any thread may call any function here, several at once.
 */
#ifndef TARN_HOST_HOST_MESSAGE_H
#define TARN_HOST_HOST_MESSAGE_H

#include "tarn_platform/os_message.h"

TARN_EXTERN_C_BEGIN

/**
 * @brief Receives messages under a name.
 * @param processName  1 to 15 characters that a file name may hold, not starting with '.'; copied.
 * @param onRecord     Called for one record after another on the receiver's own message thread, which blocks all
 * signals. The record and its payload are the platform's and valid during the call only; the payload may be written to.
 * A record whose `responseWanted` is 1 is answered with `OsMsgSynSendResp` before the callback returns; otherwise its
 * sender is told at once that no answer will come.
 * @return 0 or a code of the table above.
 *
 * A process may receive under several names, each with its own thread. Files that a killed process left behind are
 * replaced.
 */
uint32_t OsMsgReceiverStart(const char* processName, void (*onRecord)(OsMsgRecord*));

/**
 * @brief Stops receiving under a name and waits until its message thread has ended.
 * @param processName  As given to `OsMsgReceiverStart`.
 * @return 0 or a code of the table above.
 *
 * Senders whose records were not handled yet are told at once; the record being handled may still be answered. Inside
 * the receiver's own callback it does not wait: the thread ends when the callback returns. The caller must hold no lock
 * that the callback takes, and two callbacks that stop each other's receiver wait for ever.
 */
uint32_t OsMsgReceiverStop(const char* processName);

/** A running receiver. */
typedef struct TarnHostReceiver {
    char name[OS_MSG_NAME_LEN]; /**< NUL-terminated. */
    uint32_t pid;               /**< Process that receives. */
    uint64_t startTime;         /**< When it started to receive: seconds since 1970-01-01 UTC. */
} TarnHostReceiver;

/**
 * @brief Lists the running receivers of this host directory, sorted by name.
 * @param receivers  Room for `capacity` entries; may be null when `capacity` is 0.
 * @param capacity   Entries at `receivers`.
 * @param count      Receives how many run; more than `capacity` means that only the first `capacity` were written.
 * @return 0 or a code of the table above.
 */
uint32_t TarnHostReceiverList(TarnHostReceiver* receivers, uint32_t capacity, uint32_t* count);

TARN_EXTERN_C_END

#endif

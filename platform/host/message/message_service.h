// What the message service of this process holds. A forked child gets a fresh service: it closes the descriptors that
// it inherited and never touches the parent's connections, receivers and locks, whatever state the fork caught them in.
#pragma once

#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <vector>

namespace tarn::host {

class Receiver;
class Flusher;
class ThreadConnections;

struct MessageService {
    MessageService();

    void beforeFork() { forkMutex.lock(); }
    void afterFork() { forkMutex.unlock(); }
    void startInChild();

    // Held over a fork, so that the child knows every descriptor, and for what else no fork may interrupt.
    std::mutex forkMutex;
    std::vector<bool> descriptors;

    std::mutex
        receiverMutex; // Also keeps any other descriptor of a lock file closed while this process holds its lock.
    std::map<std::string, std::shared_ptr<Receiver>> receivers;

    std::mutex threadMutex;
    std::set<ThreadConnections*> threads;

    std::unique_ptr<Flusher> flusher;

    std::mutex refusalMutex;
    std::set<std::string> refusals; // Reported already.

    MessageService* inherited = nullptr; // The parent's, kept so that what it owns stays reachable.
};

MessageService& messageService();

// Of the forking thread, in the child: it starts without connections.
void forgetThreadConnections();

} // namespace tarn::host

#include "account.h"

#include <sys/mman.h>

#include <new>

namespace tarn::soak {

Account* makeAccount() {
    void* const memory = mmap(nullptr, sizeof(Account), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    if (memory == MAP_FAILED) {
        return nullptr;
    }
    auto* const account = new (memory) Account();
    for (auto& killed : account->killedAtStart) {
        killed = kNobody;
    }
    return account;
}

} // namespace tarn::soak

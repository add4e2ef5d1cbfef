// A process under load.
#pragma once

#include "account.h"

namespace tarn::soak {

struct WorkerPlace {
    Account* account = nullptr;
    size_t index = 0;
};

// Works, rests and ends as the account orders; the argument is a `WorkerPlace`. The exit code.
int runWorker(void* argument);

} // namespace tarn::soak

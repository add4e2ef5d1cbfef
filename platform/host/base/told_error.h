// A lasting trouble is told once, not with every call that meets it.
#pragma once

#include <atomic>

namespace tarn::host {

class ToldError {
 public:
    // Whether `error` is another than the last time; 0 ends the trouble, and is no news.
    bool isNews(int error) { return last_.exchange(error, std::memory_order_relaxed) != error && error != 0; }

 private:
    std::atomic<int> last_ = 0;
};

} // namespace tarn::host

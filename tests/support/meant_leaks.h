// Leaks that are meant.
#pragma once

// Of the leak checker, where there is one.
extern "C" {
__attribute__((weak)) void __lsan_disable();
__attribute__((weak)) void __lsan_enable();
}

namespace tarn::test {

// Blocks that are made while one of these lives may stay.
class MeantLeaks {
 public:
    MeantLeaks() { tell(__lsan_disable); }
    ~MeantLeaks() { tell(__lsan_enable); }
    MeantLeaks(const MeantLeaks&) = delete;
    MeantLeaks& operator=(const MeantLeaks&) = delete;

 private:
    static void tell(void (*checker)()) {
        if (checker != nullptr) {
            checker();
        }
    }
};

} // namespace tarn::test

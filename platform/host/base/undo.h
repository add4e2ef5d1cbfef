// Takes a step back unless all that depended on it went well.
#pragma once

#include <utility>

namespace tarn::host {

template <typename Action>
class Undo {
 public:
    explicit Undo(Action action) : action_(std::move(action)) {}
    Undo(const Undo&) = delete;
    Undo(Undo&&) = delete;
    Undo& operator=(const Undo&) = delete;
    Undo& operator=(Undo&&) = delete;
    ~Undo() {
        if (isWanted_) {
            action_();
        }
    }

    void cancel() { isWanted_ = false; }

 private:
    Action action_;
    bool isWanted_ = true;
};

} // namespace tarn::host

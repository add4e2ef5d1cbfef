// A process may fork while another of its threads starts a timer. The moment is hit without threads, by a fork in the
// middle of the start: where the platform makes the timer, or where the library copies data that cannot be read yet.
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>

#include "scripted_message.h"
#include "scripted_timer.h"
#include "tarn_conference/conf_timer.h"
#include "told.h"

namespace tarn::test {
namespace {

constexpr size_t kPageBytes = 4096;
constexpr unsigned kHungSeconds = 10;

uint32_t handler(uint32_t, void*, uint32_t) {
    return 0;
}

ConfTimer timer;
char* page;
pid_t child;

// In the child: an expiry is sent and not put off, and the timer can be started and stopped.
bool timerWorks() {
    ConfCommTimerInit(nullptr, 0);
    timer.dataLen = 0; // data that were being copied are lost
    scriptedTimers().fire(0);
    return scriptedMessages().asynchronous.size() == 1 && ConfTimerStart(&timer, 10, 2, "after", 6) == 0 &&
           ConfTimerStop(&timer) == 0 && timer.data == nullptr;
}

void forkInTheMiddle() {
    child = fork();
    if (child == 0) {
        alarm(kHungSeconds);
        scriptedTimers().whileCreating = nullptr;
        _exit(timerWorks() ? 0 : 1);
    }
}

void expectThatItWorked() {
    int status = 0;
    EXPECT_EQ(waitpid(child, &status, 0), child);
    EXPECT_TRUE(WIFEXITED(status)) << "ended by signal " << WTERMSIG(status);
    EXPECT_EQ(WEXITSTATUS(status), 0);
}

class ForkTest : public ScriptedPlatformTest {
    void SetUp() override {
        ScriptedPlatformTest::SetUp();
        scriptedTimers() = {};
        scriptedMessages() = {};
        ASSERT_EQ(ConfCommTimerInit(nullptr, 0), 1U);
        ASSERT_EQ(ConfTimerInit(&timer, 9, 2, "meeting", handler), 0U);
    }
    void TearDown() override {
        EXPECT_EQ(ConfTimerStop(&timer), 0U);
        ScriptedPlatformTest::TearDown();
    }
};

TEST_F(ForkTest, ChildHasTimersAlthoughOneWasBeingCreated) {
    scriptedTimers().whileCreating = [](ScriptedTimer&) { forkInTheMiddle(); };
    EXPECT_EQ(ConfTimerStart(&timer, 10, 1, "data", 5), 0U);
    scriptedTimers().whileCreating = nullptr;
    expectThatItWorked();
}

TEST_F(ForkTest, ChildHasTimersAlthoughTheDataOfOneWereBeingCopied) {
    page = static_cast<char*>(mmap(nullptr, kPageBytes, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
    ASSERT_NE(page, MAP_FAILED);
    struct sigaction action = {};
    struct sigaction former = {};
    action.sa_handler = [](int) {
        forkInTheMiddle();
        mprotect(page, kPageBytes, PROT_READ | PROT_WRITE);
    };
    ASSERT_EQ(sigaction(SIGSEGV, &action, &former), 0);
    EXPECT_EQ(ConfTimerStart(&timer, 10, 1, page, 8), 0U);
    ASSERT_EQ(sigaction(SIGSEGV, &former, nullptr), 0);
    munmap(page, kPageBytes);
    expectThatItWorked();
}

} // namespace
} // namespace tarn::test

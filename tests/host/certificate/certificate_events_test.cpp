// Changes of files as a process is told of them.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <filesystem>
#include <functional>
#include <mutex>
#include <set>
#include <thread>
#include <vector>

#include "certificate/certificate_support.h"
#include "certificate/change_settler.h"
#include "tarn_host/host_certificate.h"
#include "tarn_host/host_process.h"
#include "tarn_platform/om_certificate.h"

namespace {

using namespace tarn::test;
namespace fs = std::filesystem;
using std::chrono::milliseconds;
using tarn::host::ChangeSettler;
using testing::ElementsAre;
using testing::UnorderedElementsAre;

using Event = std::pair<uint32_t, uint32_t>;
constexpr Event kCa(OM_CERT_EVENT_CA, 0);
constexpr Event kCrl(OM_CERT_EVENT_CRL, 0);

std::mutex recordMutex;
std::vector<Event> recorded;
std::set<std::string> caNames;        // As the last event found them.
std::function<void()> duringCallback; // Set while no event can come.

void record(uint32_t event, uint32_t omType) {
    std::set<std::string> names = fs::exists(below("ca")) ? namesIn(below("ca")) : std::set<std::string>();
    {
        const std::lock_guard lock(recordMutex);
        recorded.emplace_back(event, omType);
        caNames = std::move(names);
    }
    if (duringCallback) {
        duringCallback();
    }
}

std::vector<Event> events() {
    const std::lock_guard lock(recordMutex);
    return recorded;
}

// The events since the last call, once so many are there and no more come.
std::vector<Event> takeEvents(size_t expected) {
    comesTrue([&] { return events().size() >= expected; });
    std::this_thread::sleep_for(milliseconds(130));
    const std::lock_guard lock(recordMutex);
    return std::exchange(recorded, {});
}

bool sawCa(const std::string& name) {
    const std::lock_guard lock(recordMutex);
    return caNames.count(name) == 1;
}

uint32_t installSome(uint32_t omType) {
    static const Identity identity = newCa("itself");
    return install(omType, identity);
}

uint32_t addSomeCrl() {
    return addCrl(crlPem(newCa("issuer")));
}

class CertificateEventsTest : public testing::Test {
 protected:
    void SetUp() override {
        ASSERT_EQ(TarnOmCertClientInit(nullptr), 0U);
        ASSERT_EQ(TarnOmCertNotifyCallback(record), 0U);
        // Until this is told, the clean-up before may still be.
        writeFile(below("ca/settled.pem"), "x");
        ASSERT_TRUE(comesTrue([] { return sawCa("settled.pem"); }));
        takeEvents(0);
    }
    void TearDown() override {
        ASSERT_EQ(TarnOmCertNotifyCallback(nullptr), 0U);
        duringCallback = nullptr;
        for (const char* folder : {"ca", "crl", "service"}) {
            fs::remove_all(below(folder));
            fs::create_directories(below(folder));
        }
    }
};

TEST_F(CertificateEventsTest, EachChangeIsToldOnce) {
    for (const uint32_t omType : {0x107U, 0x109U, 0x103U, 0x104U, 0x107U}) {
        ASSERT_EQ(installSome(omType), 0U);
        EXPECT_THAT(takeEvents(1), ElementsAre(Event(OM_CERT_EVENT_SERVICE, omType)));
    }
    ASSERT_EQ(TarnHostCertUninstall(0x109), 0U);
    EXPECT_THAT(takeEvents(1), ElementsAre(Event(OM_CERT_EVENT_SERVICE, 0x109)));
    for (int i = 0; i < 50; i++) {
        writeFile(below("ca/one.pem"), std::string(static_cast<size_t>(i), 'x'));
    }
    EXPECT_THAT(takeEvents(1), ElementsAre(kCa));
    fs::rename(below("ca/one.pem"), below("ca/two.pem"));
    EXPECT_THAT(takeEvents(1), ElementsAre(kCa));
    fs::permissions(below("ca/two.pem"), fs::perms::none);
    EXPECT_THAT(takeEvents(1), ElementsAre(kCa));
    fs::remove(below("ca/two.pem"));
    EXPECT_THAT(takeEvents(1), ElementsAre(kCa));
    ASSERT_EQ(addSomeCrl(), 0U);
    EXPECT_THAT(takeEvents(1), ElementsAre(kCrl));
    writeFile(below("service/0x107/keyless"), "");
    EXPECT_THAT(takeEvents(1), ElementsAre(Event(OM_CERT_EVENT_SERVICE, 0x107)));
    ConfCertSizeInfo sizes = {};
    EXPECT_EQ(TarnOmCertGetExpectedSrvCertSize(0x107, &sizes), 0U);
    readFile(below("service/0x107/cert.pem"));
    writeFile(below("service/stray"), "");
    writeFile(std::string(TarnHostDir()) + "/unrelated", "");
    EXPECT_THAT(takeEvents(0), ElementsAre()) << "reading changes nothing, and other files are others' business";
}

TEST_F(CertificateEventsTest, SeveralChangesAreToldInEveryOrder) {
    const std::vector<std::function<void()>> changes = {
        [] { writeFile(below("ca/one.pem"), "x"); },
        [] { EXPECT_EQ(addSomeCrl(), 0U); },
        [] { EXPECT_EQ(installSome(0x104), 0U); },
    };
    std::vector<size_t> order = {0, 1, 2};
    do {
        for (const size_t change : order) {
            changes[change]();
        }
        EXPECT_THAT(takeEvents(3), UnorderedElementsAre(kCa, kCrl, Event(OM_CERT_EVENT_SERVICE, 0x104)));
    } while (std::next_permutation(order.begin(), order.end()));
}

TEST_F(CertificateEventsTest, StormEndsInTheRightState) {
    for (int i = 0; i < 1000; i++) {
        const std::string path = below("ca/" + std::to_string(i % 7) + ".pem");
        if (i % 3 == 2) {
            fs::remove(path);
        } else {
            writeFile(path, std::to_string(i));
        }
        if (i % 10 == 0) {
            std::this_thread::sleep_for(milliseconds(12));
        }
    }
    EXPECT_FALSE(events().empty()) << "a change that never ends is told now and then";
    writeFile(below("ca/last.pem"), "x");
    EXPECT_TRUE(comesTrue([] { return sawCa("last.pem"); }));
    const size_t told = takeEvents(1).size();
    EXPECT_LT(told, 100U) << "and not once per write";
    EXPECT_EQ(caNames, namesIn(below("ca")));
}

TEST_F(CertificateEventsTest, FoldersComeAndGo) {
    fs::remove_all(below("ca"));
    EXPECT_THAT(takeEvents(1), ElementsAre(kCa));
    fs::create_directory(below("ca"));
    writeFile(below("ca/again.pem"), "x");
    EXPECT_TRUE(comesTrue([] { return sawCa("again.pem"); }));
    takeEvents(1);

    fs::create_directory(below("prepared"));
    writeFile(below("prepared/new.pem"), "x");
    fs::rename(below("ca"), below("old"));
    fs::rename(below("prepared"), below("ca"));
    EXPECT_THAT(takeEvents(1), ElementsAre(kCa));
    EXPECT_TRUE(sawCa("new.pem"));
    writeFile(below("old/again.pem"), "changed");
    EXPECT_THAT(takeEvents(0), ElementsAre()) << "it is no certificate folder any more";
    fs::remove_all(below("old"));

    // All at once, and the host directory itself, whose return nobody tells.
    for (const std::string& lost : {std::string(TarnHostDir()) + "/cert", std::string(TarnHostDir())}) {
        fs::rename(lost, lost + "-away");
        takeEvents(6);
        fs::rename(lost + "-away", lost);
        EXPECT_THAT(takeEvents(6), UnorderedElementsAre(kCa, kCrl, Event(0, 0x107), Event(0, 0x109), Event(0, 0x103),
                                                        Event(0, 0x104)));
        writeFile(below("ca/still.pem"), lost);
        EXPECT_THAT(takeEvents(1), ElementsAre(kCa));
    }
    fs::remove_all(TarnHostDir());
    takeEvents(6);
    EXPECT_EQ(installSome(0x109), 0U) << "it makes the folders anew";
    EXPECT_TRUE(comesTrue([] {
        const std::vector<Event> all = events();
        return std::count(all.begin(), all.end(), Event(0, 0x109)) > 0;
    }));
}

std::atomic<int> otherCalls = 0;

TEST_F(CertificateEventsTest, CallbackIsReplacedAndRemoved) {
    ASSERT_EQ(TarnOmCertNotifyCallback([](uint32_t, uint32_t) { otherCalls++; }), 0U);
    writeFile(below("ca/one.pem"), "1");
    EXPECT_TRUE(comesTrue([] { return otherCalls == 1; }));
    ASSERT_EQ(TarnOmCertNotifyCallback(nullptr), 0U);
    writeFile(below("ca/one.pem"), "2");
    EXPECT_THAT(takeEvents(0), ElementsAre());
    EXPECT_EQ(otherCalls, 1);

    std::atomic<bool> isOver = false;
    std::atomic<bool> isRunning = false;
    duringCallback = [&] {
        isRunning = true;
        std::this_thread::sleep_for(milliseconds(100));
        isOver = true;
    };
    ASSERT_EQ(TarnOmCertNotifyCallback(record), 0U);
    writeFile(below("ca/one.pem"), "3");
    ASSERT_TRUE(comesTrue([&] { return isRunning.load(); }));
    ASSERT_EQ(TarnOmCertNotifyCallback(nullptr), 0U);
    EXPECT_TRUE(isOver) << "it is waited for";

    duringCallback = [] { EXPECT_EQ(TarnOmCertNotifyCallback(nullptr), 0U); };
    takeEvents(0);
    ASSERT_EQ(TarnOmCertNotifyCallback(record), 0U);
    writeFile(below("ca/one.pem"), "4");
    EXPECT_THAT(takeEvents(1), ElementsAre(kCa)) << "not waited for by itself";
}

TEST_F(CertificateEventsTest, OtherProcessesChangesAreTold) {
    const pid_t child = inChild([] { return installSome(0x103) == 0 && addSomeCrl() == 0 ? 0 : 1; });
    EXPECT_THAT(takeEvents(2), UnorderedElementsAre(kCrl, Event(OM_CERT_EVENT_SERVICE, 0x103)));
    EXPECT_EQ(exitCodeOf(child), 0);
}

#ifndef __SANITIZE_THREAD__ // which ends children that start threads

// In a child: 0 when it starts over as it should.
int startsOver() {
    recorded.clear();
    duringCallback = nullptr;
    writeFile(below("ca/before.pem"), "x");
    if (!takeEvents(0).empty()) {
        return 1;
    }
    if (TarnOmCertClientInit(nullptr) != 0 || TarnOmCertNotifyCallback(record) != 0) {
        return 2;
    }
    writeFile(below("crl/after.pem"), "x");
    return takeEvents(1) == std::vector<Event>{kCrl} ? 0 : 3;
}

TEST_F(CertificateEventsTest, ForkedChildStartsOver) {
    EXPECT_EQ(exitCodeOf(inChild(startsOver)), 0);
    EXPECT_THAT(takeEvents(2), UnorderedElementsAre(kCa, kCrl)) << "the parent goes on";

    std::atomic<pid_t> child = 0;
    duringCallback = [&] { child = child == 0 ? inChild(startsOver) : child.load(); };
    ASSERT_EQ(installSome(0x107), 0U);
    ASSERT_TRUE(comesTrue([&] { return child != 0; })) << "forked inside the callback";
    EXPECT_EQ(exitCodeOf(child), 0);
    EXPECT_THAT(takeEvents(3), UnorderedElementsAre(kCa, kCrl, Event(OM_CERT_EVENT_SERVICE, 0x107)));
}

TEST_F(CertificateEventsTest, ChildThatReturnsFromTheCallbackEnds) {
    std::atomic<pid_t> child = 0;
    duringCallback = [&] { child = fork(); };
    writeFile(below("ca/one.pem"), "x");
    ASSERT_TRUE(comesTrue([&] { return child > 0; }));
    duringCallback = nullptr;
    EXPECT_EQ(exitCodeOf(child), EXIT_FAILURE);
}

#endif

TEST(ChangeSettlerTest, TellsOnceQuietOrNowAndThen) {
    const ChangeSettler::Time start;
    const auto at = [&](int ms) { return start + milliseconds(ms); };
    ChangeSettler settler;
    EXPECT_FALSE(settler.nextEnd().has_value());
    settler.touch(4, at(0));
    settler.touch(4, at(50));
    settler.touch(2, at(60));
    EXPECT_EQ(settler.nextEnd(), at(130));
    EXPECT_FALSE(settler.popSettled(at(129)).has_value());
    EXPECT_EQ(settler.popSettled(at(500)), 4U) << "the one that has been over for longer";
    EXPECT_EQ(settler.popSettled(at(500)), 2U);
    EXPECT_FALSE(settler.popSettled(at(5000)).has_value());

    std::vector<int> told;
    for (int ms = 0; ms <= 2500; ms += 10) {
        settler.touch(0, at(ms));
        if (settler.popSettled(at(ms)).has_value()) {
            told.push_back(ms);
        }
    }
    EXPECT_THAT(told, ElementsAre(1000, 2010));
    EXPECT_EQ(settler.nextEnd(), at(2580));
}

} // namespace

// Changes of files as a process is told of them.
#include <mutex>

#include "certificate/certificate_support.h"
#include "certificate/change_settler.h"

namespace {

using namespace tarn::test;
using std::chrono::milliseconds;
using tarn::host::ChangeSettler;
using testing::ElementsAre;
using testing::UnorderedElementsAre;
using testing::UnorderedElementsAreArray;

using Event = std::pair<uint32_t, uint32_t>;
using Events = std::vector<Event>;
constexpr Event kCa(OM_CERT_EVENT_CA, 0);
constexpr Event kCrl(OM_CERT_EVENT_CRL, 0);

constexpr Event service(uint32_t omType) {
    return {OM_CERT_EVENT_SERVICE, omType};
}

std::mutex recordMutex; // of all these
Events recorded;
std::set<std::string> caNames;        // As the last event found them.
std::function<void()> duringCallback; // What the callback does besides.

void setDuringCallback(std::function<void()> action) {
    const std::lock_guard lock(recordMutex);
    duringCallback = std::move(action);
}

void record(uint32_t event, uint32_t omType) {
    std::set<std::string> names = fs::exists(below("ca")) ? namesIn(below("ca")) : std::set<std::string>();
    std::unique_lock lock(recordMutex);
    recorded.emplace_back(event, omType);
    caNames = std::move(names);
    const std::function<void()> action = duringCallback;
    lock.unlock();
    if (action) {
        action();
    }
}

template <typename Condition>
bool comesTrueOfRecorded(Condition condition) {
    return comesTrue([&] {
        const std::lock_guard lock(recordMutex);
        return condition();
    });
}

bool comesCa(const std::string& name) {
    return comesTrueOfRecorded([&] { return caNames.contains(name); });
}

// The events since the last call, once so many are there and no more come.
Events takeEvents(size_t expected) {
    comesTrueOfRecorded([&] { return recorded.size() >= expected; });
    std::this_thread::sleep_for(milliseconds(130));
    const std::lock_guard lock(recordMutex);
    return std::exchange(recorded, {});
}

void writeCa(const std::string& name, const std::string& content = "x") {
    writeFile(below("ca/" + name), content);
}

uint32_t installSome(uint32_t omType) {
    static const Identity identity = newCa("itself");
    return install(omType, identity);
}

class CertificateEventsTest : public testing::Test {
 protected:
    void SetUp() override {
        ASSERT_EQ(TarnOmCertClientInit(nullptr), 0U);
        ASSERT_EQ(TarnOmCertNotifyCallback(record), 0U);
        writeCa("settled.pem"); // Until this is told, the clean-up before may still be.
        ASSERT_TRUE(comesCa("settled.pem"));
        takeEvents(0);
    }
    void TearDown() override {
        ASSERT_EQ(TarnOmCertNotifyCallback(nullptr), 0U);
        setDuringCallback(nullptr);
        for (const char* folder : {"ca", "crl", "service"}) {
            fs::remove_all(below(folder));
            fs::create_directories(below(folder));
        }
    }
};

// Changes, and what is told of each.
void expectTold(const std::vector<std::pair<std::function<void()>, Events>>& steps) {
    for (const auto& [change, told] : steps) {
        change();
        EXPECT_THAT(takeEvents(told.size()), UnorderedElementsAreArray(told));
    }
}

void renameBelow(const std::string& from, const std::string& to) {
    fs::rename(below(from), below(to));
}

TEST_F(CertificateEventsTest, EachChangeIsToldOnce) {
    const auto writeOften = [] {
        for (size_t i = 0; i < 50; i++) {
            writeCa("one.pem", std::string(i, 'x'));
        }
    };
    const auto installElsewhere = [] {
        inFork([] { expectAll(0, {installSome(0x103), addCrl(crlPem(newCa("other")))}); });
    };
    const auto concernNobody = [] {
        writeFile(below("service/stray"), "");
        writeFile(std::string(TarnHostDir()) + "/unrelated", "");
    };
    expectTold({
        {[] { installSome(0x107); }, {service(0x107)}},
        {[] { installSome(0x107); }, {service(0x107)}},
        {[] { TarnHostCertUninstall(0x107); }, {service(0x107)}},
        {writeOften, {kCa}},
        {[] { renameBelow("ca/one.pem", "ca/two.pem"); }, {kCa}},
        {[] { fs::remove(below("ca/two.pem")); }, {kCa}},
        {[] { addCrl(crlPem(newCa("issuer"))); }, {kCrl}},
        {installElsewhere, {kCrl, service(0x103)}},
        {concernNobody, {}},
    });
}

TEST_F(CertificateEventsTest, FoldersComeAndGo) {
    const auto makeAgain = [] {
        fs::create_directory(below("ca"));
        writeCa("again.pem");
    };
    const auto exchange = [] {
        fs::create_directory(below("prepared"));
        writeFile(below("prepared/new.pem"), "x");
        renameBelow("ca", "old");
        renameBelow("prepared", "ca");
    };
    expectTold({
        {[] { fs::remove_all(below("ca")); }, {kCa}},
        {makeAgain, {kCa}},
        {exchange, {kCa}},
        {[] { writeFile(below("old/again.pem"), "of no certificate folder any more"); }, {}},
    });
    EXPECT_TRUE(comesCa("new.pem"));
    fs::remove_all(below("old"));

    // All at once, and the host directory itself, whose return nobody tells.
    const Events all = {kCa, kCrl, service(0x107), service(0x109), service(0x103), service(0x104)};
    for (const std::string& lost : {std::string(TarnHostDir()) + "/cert", std::string(TarnHostDir())}) {
        expectTold({
            {[&] { fs::rename(lost, lost + "-away"); }, all},
            {[&] { fs::rename(lost + "-away", lost); }, all},
            {[&] { writeCa("still.pem", lost); }, {kCa}},
        });
    }
}

TEST_F(CertificateEventsTest, RemovalOfTheCallbackWaitsForIt) {
    std::atomic<bool> isOver = false;
    std::atomic<bool> isRunning = false;
    setDuringCallback([&] {
        isRunning = true;
        std::this_thread::sleep_for(milliseconds(100));
        isOver = true;
    });
    writeCa("one.pem");
    ASSERT_TRUE(comesTrue([&] { return isRunning.load(); }));
    ASSERT_EQ(TarnOmCertNotifyCallback(nullptr), 0U);
    EXPECT_TRUE(isOver);
    takeEvents(0);
    writeCa("one.pem");
    EXPECT_THAT(takeEvents(0), ElementsAre());

    setDuringCallback([] { EXPECT_EQ(TarnOmCertNotifyCallback(nullptr), 0U); });
    ASSERT_EQ(TarnOmCertNotifyCallback(record), 0U);
    writeCa("one.pem");
    EXPECT_THAT(takeEvents(1), ElementsAre(kCa)) << "not waited for by itself";
}

#ifndef __SANITIZE_THREAD__ // which ends children that start threads

// In a child.
void startOver() {
    recorded.clear();
    setDuringCallback(nullptr);
    writeCa("before.pem");
    EXPECT_THAT(takeEvents(0), ElementsAre());
    EXPECT_EQ(TarnOmCertClientInit(nullptr), 0U);
    writeCa("unheard.pem");
    EXPECT_THAT(takeEvents(0), ElementsAre()) << "the callback was the parent's";
    EXPECT_EQ(TarnOmCertNotifyCallback(record), 0U);
    writeFile(below("crl/after.pem"), "x");
    EXPECT_THAT(takeEvents(1), ElementsAre(kCrl));
}

TEST_F(CertificateEventsTest, ForkedChildStartsOver) {
    inFork(startOver);
    EXPECT_THAT(takeEvents(3), UnorderedElementsAre(kCa, kCa, kCrl)) << "the parent goes on";

    std::atomic<pid_t> child = 0;
    setDuringCallback([&] { child = fork(); });
    writeCa("one.pem");
    ASSERT_TRUE(comesTrue([&] { return child > 0; }));
    setDuringCallback(nullptr);
    EXPECT_EQ(endOf(child), EXIT_FAILURE) << "it returned from the callback";
}

#endif

TEST(ChangeSettlerTest, TellsNowAndThenWhileAChangeNeverStops) {
    const auto at = [start = ChangeSettler::Time()](int ms) { return start + milliseconds(ms); };
    ChangeSettler settler;
    EXPECT_FALSE(settler.nextEnd().has_value());
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

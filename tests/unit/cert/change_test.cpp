// Change events, the callbacks that hear of them, and the registration before, after and beside them.
#include <barrier>
#include <thread>

#include "cert_fixture.h"
#include "handshake.h"
#include "scripted_openssl.h"
#include "tarn_conference/conf_tls.h"

namespace {

using namespace testing;
using namespace tarn::test;

class Change : public CertTest {
 protected:
    void SetUp() override {
        CertTest::SetUp();
        for (uint32_t type = 0; type < 4; ++type) {
            serve(type, "certificate", "key");
        }
        changes.clear();
    }

    static void changed(uint32_t type) { ConfOmCertCallback(OM_CERT_EVENT_SERVICE, kOmTypes[type]); }
    static void record(uint32_t change) { changes.push_back(change); }
    static void countFirstType(uint32_t) { ++firstTypeChanges; }

    static inline std::vector<uint32_t> changes;
    static inline std::atomic<int> firstTypeChanges;
};

TEST_F(Change, TypesButOneAreHeardOfAndOnlyTheFirstWaitsForTheRegistration) {
    const std::string registered = "1 [ConfCertNotifyCallback]Conf register certchange callback, Flag:";
    for (const uint32_t type : {3U, 1U, 2U}) {
        changed(type);
    }
    ConfCertNotifyCallback(record);
    EXPECT_EQ(told().back(), registered + "0.");
    EXPECT_THAT(changes, IsEmpty());
    for (uint32_t type = 0; type < 4; ++type) {
        changed(type);
    }
    EXPECT_THAT(changes, ElementsAre(0, 1, 1));

    ConfCertNotifyCallback(nullptr);
    changes.clear();
    changed(0);
    changed(0);
    ConfCertNotifyCallback(nullptr); // nobody to deliver to: it goes on waiting
    ConfCertNotifyCallback(record);
    EXPECT_EQ(told().back(), registered + "1.");
    ConfCertNotifyCallback(record);
    EXPECT_THAT(changes, ElementsAre(0));
}

TEST_F(Change, UnusableEventsAndThoseOfListsTellNobody) {
    ConfCertNotifyCallback(record);
    told();
    static int caUpdates;
    caUpdates = 0;
    ConfCertUpdateNotifyCallback([] { ++caUpdates; });
    ConfOmCertCallback(OM_CERT_EVENT_SERVICE, 0x102);
    // An id longer than its field is not kept, and nothing is written beside the field.
    service.reportedIdLength = 300;
    changed(3);
    ConfOmCertCallback(4, kOmTypes[0]);
    EXPECT_THAT(told(),
                ElementsAre("3 [ConfCertUpdateNotifyCallback]Conf register ca cert update callback.",
                            "3 [ConfOmCertCallback]ConfOmCertCallback enter, msgId = 0",
                            "3 [ConfCertUpdateCertInfo]ConfCertUpdateCertInfo enter, type = [-1]",
                            "1 [ConfCertGetCertSizeAndInfo]conf secure func failed, err = -1!\n",
                            "3 [ConfOmCertCallback]ConfOmCertCallback enter, msgId = 0",
                            "3 [ConfCertUpdateCertInfo]ConfCertUpdateCertInfo enter, type = [3]",
                            "3 [GetCertSize]cert size = [11]", "1 [SetCertInfo]conf secure func failed, err = 34!\n",
                            "3 [ConfOmCertCallback]ConfOmCertCallback enter, msgId = 4"));
    EXPECT_THAT(changes, ElementsAre(1)); // of the second
    ConfOmCertCallback(OM_CERT_EVENT_CRL, 0);
    EXPECT_EQ(caUpdates, 0);
    ConfOmCertCallback(OM_CERT_EVENT_CA, 0);
    EXPECT_EQ(caUpdates, 1);
    EXPECT_EQ(platform.count("OsOpenDir"), 6U); // of two rebuilds
}

TEST_F(Change, EventBesideTheRegistrationIsDeliveredOnce) {
    constexpr int kRounds = 200;
    for (int round = 0; round < kRounds; ++round) {
        ConfCertNotifyCallback(nullptr);
        firstTypeChanges = 0;
        std::barrier start(2);
        std::thread event([&] {
            start.arrive_and_wait();
            changed(0);
        });
        start.arrive_and_wait();
        // Over the rounds the registration moves past the moment at which the event looks for a callback.
        std::this_thread::sleep_for(std::chrono::microseconds(round));
        ConfCertNotifyCallback(countFirstType);
        event.join();
        ASSERT_EQ(firstTypeChanges, 1) << "round " << round;
    }
}

// For the thread sanitizer: everything that the service's thread rewrites is read meanwhile.
TEST_F(Change, EventsGoTogetherWithReaders) {
    serve(2, pem(pki().leaf.certificate), "key");
    service.capability.fill(1);
    ConfOmCertCallback(OM_CERT_EVENT_CRL, 0);
    std::atomic<bool> done = false;
    std::thread events([&] {
        for (int i = 0; i < 20; ++i) {
            changed(2);
            ConfOmCertCallback(OM_CERT_EVENT_CA, 0);
        }
        done = true;
    });
    while (!done) {
        EXPECT_EQ(storePath(), scratch / "storage/");
        ConfCertNotifyCallback(countFirstType);
        ConfCertUpdateNotifyCallback([] {});
        ConfOmCertCallback(OM_CERT_EVENT_CRL, 0);
        // Reads the certificate's id; its holder has no such key.
        EXPECT_NE(ConfLoadServerCert(serverContext().get(), 2), 0U);
    }
    events.join();
    ScriptedEngine::get().unload();
}

} // namespace

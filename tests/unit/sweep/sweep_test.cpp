// Runs every operation of the table again and again, each time with another platform call or block of the heap failing,
// until it runs through unharmed.
#include "sweep.h"

#include <gmock/gmock.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <memory>
#include <set>
#include <sstream>

#include "failing_heap.h"
#include "meant_leaks.h"
#include "scripted_platform.h"
#include "tarn_conference/conf_log.h"
#include "tarn_platform/os_memory.h"

namespace tarn::test {

std::string Outputs::shown() const {
    return bytes + std::to_string(number) + (block == nullptr ? "" : "+");
}

Outputs& outputs() {
    static Outputs all;
    return all;
}

namespace {

std::unique_ptr<ScratchDirectory>& ownScratch() {
    static auto* const owner = new std::unique_ptr<ScratchDirectory>(std::make_unique<ScratchDirectory>());
    return *owner;
}

class RemoveScratch : public testing::Environment {
    void TearDown() override { ownScratch().reset(); }
};

} // namespace

const ScratchDirectory& scratch() {
    [[maybe_unused]] static const testing::Environment* const removed =
        testing::AddGlobalTestEnvironment(new RemoveScratch);
    return *ownScratch();
}

namespace {

using testing::Contains;
using testing::EndsWith;

enum class Source { kPlatform, kHeap };

// Exported names that are in no row, separated by blanks, by the reason.
const std::map<std::string, std::string> kCannotFail = {
    {"data",
     "CONF_PARAM_2BYTE CONF_PARAM_3BYTE g_LogInfo g_bConfCalltype g_configManager g_multiPktNotifyMutex "
     "_ZTI15ConfXMLDocument _ZTS15ConfXMLDocument _ZTV15ConfXMLDocument"},
    {"constructors and destructors without anything of their own",
     "_ZN15ConfXMLDocumentC1Ev _ZN15ConfXMLDocumentC2Ev _ZN15ConfXMLDocumentD0Ev _ZN15ConfXMLDocumentD1Ev "
     "_ZN15ConfXMLDocumentD2Ev"},
    {"asks nobody for anything: reads and writes memory, and logs at most",
     "GetConfLogFileId GetLogLevel SetLogLevel ConfFilterNonSecurityWordEx ConfFilterNonSecurityWordExImpl "
     "ConfCommMsgCheckPermission ConfRegisterNotifyFunc ConfCommSendNotifyToApp ConfCommSendNotifyAndResultToApp "
     "GetMeetingServerMsgBlockSize ConfTimerInit ConfTimerIsVaild ConfParamCheckContainValidChar "
     "ConfParamGetCharNum ConfGetAtoi ConfReportToBeacon ConfReportAddrBookToBeacon ConfReportRegisterToBeacon "
     "ConfReportCallErrToBeacon GetOmsConfType SetOmsConfType GetBestLocalIpByDestIp ConfConfigInt2V "
     "ConfConfigUInt2V ConfConfigFloat2V ConfConfigBool2V ConfConfigStr2V ConfConfigData2V ConfConfigD2Int "
     "ConfConfigD2UInt ConfConfigD2Float ConfConfigD2Bool ConfConfigD2VByType ConfConfigStrEqual "
     "ConfXmlGetRootNode ConfXmlIsRootNode ConfXmlGetNodeChildNum ConfXmlGetNodeFirstChild "
     "ConfXmlGetNodeNextSibling ConfXmlGetNodeParenet ConfXmlGetNodeIterator ConfXmlGetNodeName ConfXmlGetNodeText "
     "ConfXmlGetNodeIntText ConfXmlGetNodeStrAttr ConfXmlGetNodeIntAttr ConfXmlGetNodeUintAttr "
     "ConfXmlGetNodeByPath ConfXmlAdptGetNodeValueByUrl ConfXmlAdptGetNodeAttrByUrl ConfXmlAttrTypeStrToEnum "
     "ConfXmlIsValueNode ConfXmlCompareNode ConfXmlIsNumericStr ConfXmlGetValue ConfXmlCopyIndexValueToXmlNode "
     "ConfXmlStrGetNextASCII ConfCertNotifyCallback ConfCertUpdateNotifyCallback get_evp_md_by_id_conf "
     "_Z14ConfJsonGetIntP5cJSONPKci _Z15ConfJsonGetBoolP5cJSONPKcb "
     "_Z16ConfJsonFindItemP5cJSONPKc _Z16ConfJsonGetArrayP5cJSONPKc _Z16ConfJsonIsMemberP5cJSONPKc "
     "_Z17ConfJsonGetObjectP5cJSONPKc _Z17ConfJsonGetUInt32P5cJSONPKcj _Z17ConfJsonGetUInt64P5cJSONPKcm "
     "_Z20ConfJsonGetArrayItemP5cJSONj _Z20ConfJsonGetArraySizeP5cJSON "
     "_Z16ConfJsonClearStrRNSt7__cxx1112basic_stringIcSt11char_traitsIcESaIcEEE"},
    {"asks only by way of another, or is asked only by another, that has a row",
     "ConfCertLoadOneCaCert ConfCommMsgSynSend ConfCommTimerFree ConfCommTimerFuncDeInit ConfCommTimerFuncInit "
     "ConfConfigSyncByKeyToOM ConfFilterCallFilterFn ConfTimerFree ConfXmlFindMatchNode ConfXmlGetStringFromAscii "
     "ConfXmlGetXmlNodeAttr ConfXmlMatchNode ConfXmlParaseIntParams ConfXmlParaseStringParams ConfXmlTraverseXmlTree "
     "GetEnableEofb GetSipPreventAttack SetEnableEofb SetSipPreventAttack _ZN15ConfXMLDocument10GetXmlBodyEv"},
    {"only gives something back", "ConfXmlFreeRootNode ConfXmlDeleteAttr ConfConfigDeInit ClearAndFreeBuff"},
    {"shares all of its code with ConfXmlLoad or ConfXmlSave", "ConfXmlLoadCallBack ConfXmlWriteCallBack"},
    {"has a result that no platform can refuse", "ConfGetSysTimeSec ConfConfigUnInit"},
};

// One operation and the state it works on.
struct Row {
    Subject subject; // without its operations
    Operation operation;

    friend void PrintTo(const Row& row, std::ostream* out) { *out << row.operation.name; }
};

std::vector<Row> allRows() {
    std::vector<Row> rows;
    for (const auto& make : {logSubjects, messageSubjects, configSubjects, xmlSubjects, utilSubjects, certSubjects}) {
        for (Subject& subject : make()) {
            for (Operation& operation : std::exchange(subject.operations, {})) {
                rows.push_back({subject, std::move(operation)});
            }
        }
    }
    return rows;
}

size_t openDescriptors() {
    const std::filesystem::directory_iterator all("/proc/self/fd");
    return static_cast<size_t>(std::distance(begin(all), end(all)));
}

std::string baseName(const Operation& operation) {
    return operation.name.substr(0, operation.name.find('/'));
}

class Sweep : public testing::TestWithParam<Row> {
 protected:
    const Subject& subject = GetParam().subject;
    const Operation& operation = GetParam().operation;
    ScriptedPlatform& platform = ScriptedPlatform::get();
    std::set<std::string> told;
    std::string stateAfterSuccess;
    size_t successes = 0; // of the last run

    static std::string failure(Source source) {
        if (source == Source::kHeap) {
            return heapBlockFailed() ? kMemory : "";
        }
        const ScriptedPlatform& platform = ScriptedPlatform::get();
        return platform.failedInRecord() ? kLog : platform.failedCall();
    }

    uint64_t expectedResult(const std::string& failed) const {
        if (failed.empty()) {
            return operation.answers.success;
        }
        const Answers& answers = operation.answers;
        auto found = answers.results.find(failed);
        if (found == answers.results.end() && failed == kLog) {
            return answers.success;
        }
        found = found == answers.results.end() ? answers.results.find(kEveryCall) : found;
        return found == answers.results.end() ? answers.failure : found->second;
    }

    void prepare() const {
        outputs() = {};
        subject.prepare();
        platform.reset();
    }

    void finish() const {
        subject.finish();
        OSMemTypeFreeMon(outputs().block, 0, 0, 0, "sweep");
        outputs() = {};
    }

    // Runs with the n-th failure; whether it happened.
    bool runOnce(Source source, size_t n) {
        const size_t blocksBefore = platform.liveBlocks();
        outputs() = {};
        const size_t heapBefore = liveHeapBlocks(subject.heap);
        const size_t descriptorsBefore = openDescriptors();
        prepare();
        const std::string stateBefore = subject.state();
        platform.reset();
        failHeapBlock(subject.heap, source == Source::kHeap ? n : 0);
        platform.failNthOfAny(source == Source::kPlatform ? n : 0);
        const uint64_t result = operation.run();
        const std::string failed = failure(source);
        failHeapBlock(0, 0);
        platform.failNthOfAny(0);
        SCOPED_TRACE(testing::Message() << n << ", failing: " << failed);
        for (const LogRecord& record : platform.logs()) {
            told.insert(record.level == CONF_LOG_ERROR ? record.text
                                                       : record.text + " at level " + std::to_string(record.level));
        }
        checkOutcome(failed, result, stateBefore);
        EXPECT_TRUE(!subject.isSound || subject.isSound()) << "values that nobody gave: " << subject.state();
        EXPECT_EQ(platform.heldMutexes(), 0) << "a platform mutex is still held";
        finish();
        checkLeaks(failed, blocksBefore, heapBefore);
        EXPECT_EQ(openDescriptors(), descriptorsBefore) << "descriptors are left open";
        return !failed.empty();
    }

    void checkOutcome(const std::string& failed, uint64_t result, const std::string& stateBefore) {
        const uint64_t expected = expectedResult(failed);
        successes = result == operation.answers.success ? 1 : 0;
        if (expected != kEither) {
            EXPECT_EQ(result, expected);
        }
        if (failed.empty()) {
            stateAfterSuccess = subject.state();
        } else if (operation.partial == nullptr && result == operation.answers.success) {
            EXPECT_EQ(subject.state(), stateAfterSuccess) << "a failure that is not answered must not matter";
        } else if (operation.partial == nullptr) {
            EXPECT_EQ(subject.state(), stateBefore) << "something was changed";
            if (!subject.ownProcess) {
                platform.reset();
                OSMemTypeFreeMon(std::exchange(outputs().block, nullptr), 0, 0, 0, "sweep");
                EXPECT_EQ(operation.run(), operation.answers.success) << "the next call fails, too";
                ++successes;
            }
        }
    }

    void checkLeaks(const std::string& failed, size_t blocksBefore, size_t heapBefore) {
        const auto kept = operation.keeps.find(failed);
        for (size_t n = kept == operation.keeps.end() ? 0 : kept->second; n > 0; --n) {
            platform.blockFreed();
        }
        EXPECT_EQ(platform.liveBlocks(), blocksBefore) << "accounted blocks are left";
        if (std::ranges::count(subject.losesHeapBy, failed) != 0) {
            return;
        }
        EXPECT_EQ(liveHeapBlocks(subject.heap), heapBefore + successes * operation.keepsHeap)
            << "blocks of the heap are left";
    }

    // The same in a process of its own.
    bool runOnceInChild(Source source, size_t n) {
        scratch(); // nobody would remove one that is made in a child
        std::fflush(nullptr);
        const pid_t child = fork();
        if (child == 0) {
            const bool failed = runOnce(source, n);
            std::exit(HasFailure() ? 1 : failed ? 2 : 3);
        }
        int status = 0;
        EXPECT_EQ(waitpid(child, &status, 0), child);
        const int code = WIFEXITED(status) ? WEXITSTATUS(status) : 1;
        EXPECT_TRUE(code == 2 || code == 3) << "failed in the child, see above";
        return code == 2;
    }

    void sweep(Source source) {
        constexpr size_t kEndless = 2000;
        for (size_t n = 1; n < kEndless && !HasFatalFailure(); ++n) {
            const bool failed = subject.ownProcess ? runOnceInChild(source, n) : runOnce(source, n);
            if (!failed || HasFailure()) {
                return; // one failure is enough to see
            }
        }
        FAIL() << "the operation never ran through unharmed";
    }
};

TEST_P(Sweep, EveryFailureIsAnsweredAndLeavesNothing) {
    const MeantLeaks leaks; // told by numbers here
    if (!subject.ownProcess) {
        prepare();
        operation.run(); // what is made once in the life of a process is not counted
        finish();
        runOnce(Source::kPlatform, 0);
    }
    sweep(Source::kPlatform);
    if (subject.heap != 0) {
        sweep(Source::kHeap);
    }
    // Records do not name functions as the linker does.
    const std::string function =
        operation.name[0] == '_' ? "" : std::string("[").append(baseName(operation)).append("]");
    for (const std::string& text : operation.tells) {
        EXPECT_THAT(told, Contains(EndsWith(text[0] == '[' ? text : std::string(function).append(text))));
    }
}

INSTANTIATE_TEST_SUITE_P(Operations, Sweep, testing::ValuesIn(allRows()), [](const auto& row) {
    std::string name = row.param.operation.name;
    std::replace_if(
        name.begin(), name.end(), [](char c) { return c == '/'; }, '_');
    return name;
});

TEST(SweepTable, HasEveryExportedName) {
    std::set<std::string> named;
    for (const Row& row : allRows()) {
        named.insert(baseName(row.operation));
    }
    for (const auto& [reason, names] : kCannotFail) {
        std::istringstream list(names);
        for (std::string name; list >> name;) {
            EXPECT_TRUE(named.insert(name).second) << name << " is in a row, or twice here";
        }
    }
    std::set<std::string> exported;
    std::ifstream list(EXPORTED_SYMBOLS);
    for (std::string line; std::getline(list, line);) {
        if (!line.empty() && line[0] != '#') {
            exported.insert(line);
        }
    }
    EXPECT_THAT(named, testing::ContainerEq(exported));
}

} // namespace
} // namespace tarn::test

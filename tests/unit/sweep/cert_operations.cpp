// Certificates and TLS contexts.
#include <openssl/err.h>
#include <openssl/ssl.h>

#include <filesystem>

#include "cert/scripted_openssl.h"
#include "failing_heap.h"
#include "pki.h"
#include "scripted_certificate.h"
#include "scripted_path.h"
#include "scripted_platform.h"
#include "sweep.h"
#include "tarn_conference/conf_cert.h"
#include "tarn_conference/conf_log.h"
#include "tarn_conference/conf_tls.h"

namespace tarn::test {

namespace {

constexpr uint64_t kRefused = CONF_CERT_FAILED;
constexpr const char* kLogged = "what fails is logged and does not stop the rest";
constexpr const char* kCopyFailed = "conf secure func failed, err = 400!\n";
constexpr const char* kDiscarded = "after a failure a context is to be discarded";

struct Device {
    Key key = newEcKey();
    Identity root = issue("Test Root", key, nullptr, true);

    Device() {
        for (const char* const name : {"ca", "crl", "storage"}) {
            std::filesystem::create_directory(scratch() / name);
        }
        writeFile(scratch() / "ca/root.pem", pem(root.certificate));
        writeFile(scratch() / "crl/crl.pem", crlPem(root));
        writeFile(scratch() / "certificate", pem(root.certificate));
        writeFile(scratch() / "key", pem(key));
        writeFile(scratch() / scriptedCertificateId(pem(root.certificate)), pem(key));
    }

    // Type 0 has its key in a file, type 2 with the engine.
    void serve() const {
        ScriptedCertificates::reset();
        ScriptedCertificates& service = ScriptedCertificates::get();
        for (const uint32_t type : {0x107U, 0x103U}) {
            service.served[type] = {
                pem(root.certificate), pem(key), scratch() / "certificate", scratch() / "key", "", {}, {}};
        }
        service.capability[2] = 1;
        service.caDirectory = scratch() / "ca";
        service.crlDirectory = scratch() / "crl";
        scriptedPaths().storage = scratch() / "storage";
    }
};

const Device& device() {
    static const Device made;
    return made;
}

std::vector<std::string> storedNames() {
    const std::set<std::string> names = scratch().names();
    return {names.begin(), names.end()};
}

bool directoriesAreClosed() {
    const ScriptedPlatform& platform = ScriptedPlatform::get();
    const size_t opened = platform.count("OsOpenDir") - (platform.failedCall() == "OsOpenDir" ? 1 : 0);
    return platform.count("OsCloseDir") == opened;
}

// Runs on a context of its own.
uint64_t onContext(uint32_t (*fill)(SSL_CTX* context)) {
    SSL_CTX* const context = SSL_CTX_new(TLS_server_method());
    const uint32_t result = fill(context);
    SSL_CTX_free(context);
    ERR_clear_error();
    return directoriesAreClosed() ? result : 97;
}

uint32_t loadServer(SSL_CTX* context, uint32_t type) {
    const uint32_t result = ConfLoadServerCert(context, type);
    return result == 0 && SSL_CTX_check_private_key(context) != 1 ? 98 : result;
}

uint64_t fetch() {
    ConfCertServiceCert fetched = {};
    const uint32_t result = ConfCertGetCertSizeAndInfo(2, &fetched);
    if (result == 0) {
        ClearAndFreeBuff(&fetched, 2);
    }
    return result;
}

std::vector<Operation> inventoryOperations() {
    const auto path = [](const char* name, auto call) {
        return op(
            name, [=] { return call(outputs().text(), 160); },
            {0, kRefused, {{"strcpy_s", 1}, {"memcpy_s", 1}, {"strncpy_s", 1}}}, "a failed copy leaves what it left",
            {kCopyFailed, name == std::string("ConfCertGetSrvCertFilePath") ? "TarnOmCertGetCertPath, ret=601, type=0."
                                                                            : "TarnOmCertGetCertPath error, 601"});
    };
    const auto handles = [](const char* name, auto call, std::vector<std::string> tells) {
        return op(
            name,
            [=] {
                call();
                const unsigned long left = ERR_peek_error();
                return left != 0 ? 98 : directoriesAreClosed() ? 0 : 97;
            },
            {0, 1, {{kEveryCall, 0}}}, kLogged, std::move(tells));
    };
    const std::vector<std::string> rebuildTells = {"[ConfCertUpdateLdapCert]ConfCertGetCaPath error.",
                                                   "[ConfCertUpdateLdapCert]ConfCertGetCrlPath error.",
                                                   "[ConfCertCopyDirFile]sprintf fail!",
                                                   "[ConfCertCopyDirFile]copy error[5].errno[28]",
                                                   "[ConfCertCreateCertSoftLink]BIO_new_file err.",
                                                   "[ConfCertCreateCrlSoftLink]sprintf fail!",
                                                   "[ConfCertCreateCrlSoftLink]open file failed"};
    return {
        handles("ConfCertInit", [] { ConfCertInit(nullptr); }, {"TarnOmCertClientInit ERROR"}),
        handles(
            "ConfOmCertCallback", [] { ConfOmCertCallback(OM_CERT_EVENT_CA, 0); }, rebuildTells),
        handles("ConfOmCertCallback/service", [] { ConfOmCertCallback(OM_CERT_EVENT_SERVICE, 0x103); },
                {"[GetCertSize]TarnOmCertGetExpectedSrvCertSize ERROR", "[GetCertId]TarnOmCertGetCertId ERROR"}),
        op("ConfCertGetCertSizeAndInfo", fetch, {}, nullptr, {"Null ptr.", "TarnOmCertGetServiceCert ERROR"}),
        path("ConfCertGetSrvCertFilePath",
             [](char* buffer, uint32_t bytes) { return ConfCertGetSrvCertFilePath(0, buffer, bytes); }),
        path("ConfCertGetCaPath", ConfCertGetCaPath),
        path("ConfCertGetCrlPath", ConfCertGetCrlPath),
        op("ConfCertGetAddrCaPath",
           [] {
               outputs().bytes.resize(CONF_CERT_PATH_LEN);
               ConfCertGetAddrCaPath(outputs().text());
               return uint64_t{0};
           },
           {0, 1, {{kEveryCall, 0}}}, "a failed copy leaves what it left", {kCopyFailed}),
        op("ConfCertGetGmSrvCertInfo",
           [] {
               static ConfCertGmSrvCertInfo info;
               return ConfCertGetGmSrvCertInfo(0, &info);
           },
           {0, kRefused, {{"strcpy_s", 1}, {"memcpy_s", 1}, {"strncpy_s", 1}}}, nullptr, {kCopyFailed}),
        op("ConfCertGetCaCertList",
           [] {
               static ConfCaCertEntry list[CONF_CERT_MAX_CA_FILES];
               uint32_t count = 0;
               return ConfCertGetCaCertList(list, &count);
           },
           {0,
            kRefused,
            {{kEveryCall, 0}, {"strcpy_s", kEither}, {"OsOpenDir", kRefused}, {"TarnOmCertGetCertPath", kRefused}}},
           "an entry that fails is left out", {kCopyFailed, "sprintf fail!", "ConfCertGetCaPath error."}),
    };
}

std::vector<Operation> tlsOperations() {
    const auto loads = [](const char* name, uint32_t (*fill)(SSL_CTX*), std::map<std::string, uint64_t> results,
                          std::vector<std::string> tells = {}) {
        return op(
            name, [=] { return onContext(fill); }, {0, kRefused, std::move(results)}, kDiscarded, std::move(tells));
    };
    const auto loadCa = [](SSL_CTX* context) {
        ConfCaCertEntry list[1] = {};
        const std::string file = scratch() / "ca/root.pem";
        file.copy(list[0].path, sizeof list[0].path - 1);
        list[0].fileType = 1;
        return ConfCertLoadAllCaCert(context, list, 1);
    };
    return {
        loads("ConfLoadServerCert", [](SSL_CTX* context) { return loadServer(context, 0); }, {},
              {"[ConfCertIsSupportKeyless]TarnOmCertGetCapability fail, ret=601.",
               "[ConfLoadServerCertificateByKey]TarnOmCertGetCertPath, ret=601."}),
        loads("ConfLoadServerCert/engine", [](SSL_CTX* context) { return loadServer(context, 2); },
              {{"OsMutexLock", 0}, {"ENGINE_by_id", kEither}},
              {"[ConfCertGetCertId]conf secure func failed, err = 400!\n", "[GetOpensslEngine]ENGINE_by_id failed",
               "[GetOpensslEngine]ENGINE_ctrl_cmd_string SO_PATH failed",
               "[GetOpensslEngine]ENGINE_ctrl_cmd_string ID failed",
               "[GetOpensslEngine]ENGINE_ctrl_cmd_string LIST_ADD failed",
               "[GetOpensslEngine]ENGINE_ctrl_cmd_string LOAD failed", "[GetOpensslEngine]FAILED to load engine",
               "[ConfLoadServerCertificateKeyLess]ConfCertGetSrvCertFilePath error, -1",
               "[ConfLoadServerCertificateKeyLess]use privkey error"}),
        loads("ConfCertLoadAllCaCert", loadCa, {{kEveryCall, 0}}),
        loads("ConfAddCancelCrlToSslctx", ConfAddCancelCrlToSslctx,
              {{kEveryCall, 0}, {"sprintf_s", kEither}, {"OsOpenDir", 1}},
              {"OpenDir error", "strcat_s failed", "add file cert failed", "[AddCancelCrlToSslctxByFile]store null err",
               "[AddCancelCrlToSslctxByFile]open file failed", "[AddCancelCrlToSslctxByFile]add crl failed!"}),
    };
}

} // namespace

std::vector<Subject> certSubjects() {
    Subject subject;
    subject.prepare = [] {
        device().serve();
        ScriptedEngine::get().keyDirectory = scratch().path();
        ConfOmCertCallback(OM_CERT_EVENT_SERVICE, 0x103);
        ConfCertNotifyCallback([](uint32_t) { ++outputs().number; });
        ConfCertUpdateNotifyCallback([] { ++outputs().number; });
    };
    subject.state = [] { return outputs().shown() + std::to_string(storedNames().size()); };
    subject.finish = [] {
        ConfCertNotifyCallback(nullptr);
        ConfCertUpdateNotifyCallback(nullptr);
        ScriptedEngine::get().unload();
        scriptedPaths() = {};
    };
    subject.heap = kOperatorNew;
    for (const auto& operations : {inventoryOperations(), tlsOperations()}) {
        subject.operations.insert(subject.operations.end(), operations.begin(), operations.end());
    }
    return {subject};
}

} // namespace tarn::test

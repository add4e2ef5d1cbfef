// Rebuilding the trust store. On a device with fixed paths the store is emptied first; elsewhere files that are gone at
// their source stay in it.
#include <cerrno>

#include "base/log.h"
#include "base/platform_lock.h"
#include "cert/cert_path.h"
#include "cert/trust_store.h"
#include "tarn_conference/conf_filter.h"
#include "tarn_platform/om_path.h"

using tarn::detail::DirectoryWalk;
using tarn::detail::joinPath;
using tarn::detail::kSecureFunctionText;
using tarn::detail::PathBuffer;
using tarn::detail::PlatformLock;

namespace {

constexpr const char* kLogName = "conf_cert";
constexpr const char* kRebuild = "ConfCertUpdateLdapCert";
constexpr const char* kNoPathText = "path is null!";
constexpr const char* kJoinFailedText = "sprintf fail!";
constexpr const char* kNotOpenText = "%s is empty.";

constexpr const char* kFixedCaSource = "/data/certfile/CA/";
constexpr const char* kFixedCrlSource = "/data/certfile/CRL/";

// One rebuild at a time works on files: the first may still be at it at start-up when an event asks for the next. The
// certificate service is not asked under this lock, because its events may come under locks of its own.
OsMutex rebuildMutex;

// The store directory, ending in a slash; empty until it is known. Its lock is never held while files are worked on.
OsMutex caStoreDirMutex;
PathBuffer caStoreDir;

PathBuffer storeDirectory() {
    const PlatformLock lock(caStoreDirMutex);
    return caStoreDir;
}

void setStoreDirectory(const PathBuffer& directory) {
    const PlatformLock lock(caStoreDirMutex);
    caStoreDir = directory;
}

bool copyForRebuild(PathBuffer& out, const char* path) {
    return tarn::detail::copyPath(kRebuild, out.data(), out.size(), path);
}

// Logs the length of a path that was joined well, as it would log the failure: readers of the log know the rebuild by
// these lines.
void appendSlash(PathBuffer& out, const char* path) {
    const int length = joinPath(out, path, "/");
    if (length != 0) {
        TARN_LOG_AS(kRebuild, CONF_LOG_ERROR, kSecureFunctionText, length);
    }
}

// A storage path that is too long leaves no store: its empty copy would name the root directory.
void followStoragePath() {
    const char* const storagePath = TarnOmCustUtilGetStoragePath();
    if (storagePath == nullptr || storagePath[0] == '\0') {
        return;
    }
    PathBuffer storage = {};
    const bool fits = copyForRebuild(storage, storagePath);
    PathBuffer store = {};
    appendSlash(store, fits ? storage.data() : storagePath);
    setStoreDirectory(store);
}

// `source` stays empty when the service does not tell.
void followServicePath(PathBuffer& source, uint32_t (*ask)(char*, uint32_t), const char* failedText) {
    PathBuffer directory = {};
    if (ask(directory.data(), CONF_CERT_PATH_LEN) != 0) {
        TARN_LOG_AS(kRebuild, CONF_LOG_ERROR, "%s", failedText);
        return;
    }
    appendSlash(source, directory.data());
}

void ConfCertCopyDirFile(const char* srcDir, const char* storeDir) {
    if (srcDir[0] == '\0' || storeDir[0] == '\0') {
        TARN_LOG(CONF_LOG_ERROR, kNoPathText);
        return;
    }
    DirectoryWalk walk(srcDir);
    if (!walk.isOpen()) {
        TARN_LOG(CONF_LOG_ERROR, kNotOpenText, srcDir);
        return;
    }
    while (const char* const name = walk.next()) {
        PathBuffer source = {};
        PathBuffer target = {};
        if (joinPath(source, srcDir, name) < 0 || joinPath(target, storeDir, name) < 0) {
            TARN_LOG(CONF_LOG_ERROR, kJoinFailedText);
            continue;
        }
        const int result = OsCopyFile(source.data(), target.data());
        if (result != 0) {
            TARN_LOG(CONF_LOG_ERROR, "copy error[%d].errno[%d]", result, errno);
        }
    }
}

void ConfCertRemoveDirFile(const char* storeDir) {
    if (storeDir[0] == '\0') {
        TARN_LOG(CONF_LOG_ERROR, kNoPathText);
        return;
    }
    DirectoryWalk walk(storeDir);
    if (!walk.isOpen()) {
        PathBuffer masked = {};
        ConfFilterStr(storeDir, masked.data(), CONF_CERT_PATH_LEN);
        TARN_LOG(CONF_LOG_ERROR, kNotOpenText, masked.data());
        return;
    }
    while (const char* const name = walk.next()) {
        PathBuffer path = {};
        if (joinPath(path, storeDir, name) < 0) {
            TARN_LOG(CONF_LOG_ERROR, kJoinFailedText);
            continue;
        }
        // A file that stays is replaced or shows as a failed link below.
        OsRemove(path.data());
    }
}

} // namespace

void tarn::detail::ConfCertUpdateLdapCert() {
    PathBuffer caSource = {};
    PathBuffer crlSource = {};
    const bool fixedPaths = hasFixedPaths();
    if (fixedPaths) {
        PathBuffer store = {};
        copyForRebuild(store, kFixedStore);
        setStoreDirectory(store);
        copyForRebuild(caSource, kFixedCaSource);
        copyForRebuild(crlSource, kFixedCrlSource);
    } else {
        followStoragePath();
        followServicePath(caSource, ConfCertGetCaPath, "ConfCertGetCaPath error.");
        followServicePath(crlSource, ConfCertGetCrlPath, "ConfCertGetCrlPath error.");
    }
    const PathBuffer store = storeDirectory();
    const PlatformLock oneAtATime(rebuildMutex);
    if (fixedPaths) {
        ConfCertRemoveDirFile(store.data());
    }
    ConfCertCopyDirFile(caSource.data(), store.data());
    ConfCertCopyDirFile(crlSource.data(), store.data());
    ConfCertCreateCertSoftLink(store.data());
}

void ConfCertGetAddrCaPath(char* buf) {
    const PathBuffer store = storeDirectory();
    const errno_t copied = memcpy_s(buf, CONF_CERT_PATH_LEN, store.data(), store.size());
    if (copied != 0) {
        TARN_LOG(CONF_LOG_ERROR, kSecureFunctionText, copied);
    }
}

// The CA files as a list, in the directory's order and without their content being looked at.
#include <cstring>

#include "base/log.h"
#include "cert/cert_path.h"
#include "tarn_conference/conf_cert.h"

using tarn::detail::DirectoryWalk;
using tarn::detail::PathBuffer;

namespace {

constexpr const char* kLogName = "conf_cert";
constexpr const char* kEnding = "pem";
constexpr size_t kEndingLength = 3;
constexpr uint32_t kFileTypePem = 1;

bool isCaFile(const char* name) {
    const size_t length = std::strlen(name);
    return length > kEndingLength && MOSS_StriCmp(name + length - kEndingLength, kEnding) == 0;
}

// A path that does not fit is listed all the same, empty.
void fillEntry(const char* function, ConfCaCertEntry& entry, const char* directory, const char* name) {
    PathBuffer path = {};
    if (sprintf_s(path.data(), path.size(), "%s/%s", directory, name) < 0) {
        TARN_LOG_AS(function, CONF_LOG_ERROR, "sprintf fail!");
    }
    const errno_t copied = memcpy_s(entry.path, sizeof entry.path, path.data(), path.size());
    if (copied != 0) {
        TARN_LOG_AS(function, CONF_LOG_ERROR, tarn::detail::kSecureFunctionText, copied);
    }
    entry.fileType = kFileTypePem;
}

} // namespace

uint32_t ConfCertGetCaCertList(ConfCaCertEntry* list, uint32_t* count) {
    if (list == nullptr) {
        TARN_LOG(CONF_LOG_ERROR, "invalid params!");
        return CONF_CERT_FAILED;
    }
    PathBuffer directory = {};
    if (ConfCertGetCaPath(directory.data(), CONF_CERT_PATH_LEN) != 0) {
        TARN_LOG(CONF_LOG_ERROR, "ConfCertGetCaPath error.");
        return CONF_CERT_FAILED;
    }
    uint32_t found = 0;
    {
        DirectoryWalk walk(directory.data());
        if (!walk.isOpen()) {
            TARN_LOG(CONF_LOG_ERROR, "OsOpenDir error, [%s]is not exist!", directory.data());
            return CONF_CERT_FAILED;
        }
        while (const char* const name = walk.next()) {
            if (!isCaFile(name)) {
                continue;
            }
            fillEntry(__func__, list[found], directory.data(), name);
            if (++found == CONF_CERT_MAX_CA_FILES) {
                break;
            }
        }
    }
    if (count != nullptr) {
        *count = found;
    }
    TARN_LOG(CONF_LOG_INFO, "CA file number:%u", found);
    return 0;
}

// The directories of the product below the host directory, made at their first use.
#include <atomic>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <string>

#include "base/host_directory.h"
#include "tarn_platform/om_path.h"

namespace {

// A directory that could not be made is tried again at the next call. Its text stays where it is until the process is
// gone, because threads may still use it while the process ends.
class ProductDirectory {
 public:
    constexpr explicit ProductDirectory(const char* name) : directory_(name) {}

    const char* path() {
        const char* const known = path_.load(std::memory_order_acquire);
        return known != nullptr ? known : make();
    }

 private:
    const char* make() {
        try {
            std::string path;
            char* const made = directory_.make(path) == 0 ? strdup(path.c_str()) : nullptr;
            char* others = nullptr;
            if (path_.compare_exchange_strong(others, made, std::memory_order_acq_rel)) {
                return made;
            }
            std::free(made);
            return others;
        } catch (const std::exception&) {
            return nullptr;
        }
    }

    tarn::host::HostSubdirectory directory_;
    std::atomic<char*> path_ = nullptr;
};

constinit ProductDirectory configuration("config-files");
constinit ProductDirectory storage("storage");

} // namespace

const char* TarnOmCustUtilGetCfgPath(uint32_t) {
    return configuration.path();
}

const char* TarnOmCustUtilGetStoragePath(void) {
    return storage.path();
}

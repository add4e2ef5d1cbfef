// The directories of the product below the host directory, made at their first use.
#include <mutex>
#include <new>
#include <string>

#include "base/host_directory.h"
#include "tarn_platform/om_path.h"

namespace {

// A directory that could not be made is tried again at the next call.
class ProductDirectory {
 public:
    explicit ProductDirectory(const char* name) : name_(name) {}

    const char* path() noexcept {
        const std::lock_guard lock(mutex_);
        if (!path_.empty()) {
            return path_.c_str();
        }
        try {
            path_ = tarn::host::hostSubdirectory(name_);
        } catch (const std::bad_alloc&) {
            return nullptr;
        }
        return path_.empty() ? nullptr : path_.c_str();
    }

 private:
    const char* const name_;
    std::mutex mutex_;
    std::string path_;
};

// Never destroyed, because threads may still use the texts while the process ends.
template <const char* Name>
ProductDirectory& productDirectory() {
    static auto& directory = *new ProductDirectory(Name);
    return directory;
}

constexpr char kConfiguration[] = "config-files";
constexpr char kStorage[] = "storage";

} // namespace

const char* TarnOmCustUtilGetCfgPath(uint32_t) {
    return productDirectory<kConfiguration>().path();
}

const char* TarnOmCustUtilGetStoragePath(void) {
    return productDirectory<kStorage>().path();
}

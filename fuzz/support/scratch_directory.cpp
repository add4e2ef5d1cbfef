#include "scratch_directory.h"

#include <cstdlib>
#include <fstream>
#include <string>

#include "target.h"

namespace tarn::fuzz {

ScratchDirectory::ScratchDirectory() {
    std::string name = std::filesystem::temp_directory_path() / "tarn-fuzz-XXXXXX";
    FUZZ_CHECK(mkdtemp(name.data()) != nullptr);
    path_ = name;
}

ScratchDirectory::~ScratchDirectory() {
    std::error_code left; // what cannot be removed stays
    std::filesystem::remove_all(path_, left);
}

void ScratchDirectory::write(const std::filesystem::path& name, std::span<const uint8_t> bytes) const {
    const std::filesystem::path path = path_ / name;
    std::filesystem::create_directories(path.parent_path());
    std::ofstream file(path, std::ios::binary);
    file.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
    FUZZ_CHECK(file.flush().good());
}

} // namespace tarn::fuzz

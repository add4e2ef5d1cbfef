#include "message/image.h"

#include <elf.h>
#include <link.h>
#include <unistd.h>

#include <algorithm>
#include <cinttypes>
#include <cstdio>
#include <cstring>
#include <string_view>

#include "base/byte_code.h"
#include "message/message_service.h"
#include "tarn_host/host_process.h"

namespace tarn::host {
namespace {

constexpr size_t kLongestText = 4096;

// The description of the build-id note in a segment of notes, empty when there is none.
std::string_view buildIdNote(const char* notes, size_t size) {
    constexpr auto kAligned = [](size_t length) { return (length + 3) & ~size_t{3}; };
    while (size >= sizeof(ElfW(Nhdr))) {
        ElfW(Nhdr) note = {};
        std::memcpy(&note, notes, sizeof note);
        const size_t nameBytes = kAligned(note.n_namesz);
        const size_t total = sizeof note + nameBytes + kAligned(note.n_descsz);
        if (total > size) {
            return {};
        }
        if (note.n_type == NT_GNU_BUILD_ID && note.n_namesz == 4 && std::memcmp(notes + sizeof note, "GNU", 4) == 0) {
            return {notes + sizeof note + nameBytes, note.n_descsz};
        }
        notes += total;
        size -= total;
    }
    return {};
}

Module describe(const dl_phdr_info& info) {
    Module module;
    module.address = info.dlpi_addr;
    module.path = info.dlpi_name;
    for (const ElfW(Phdr) & segment : std::span(info.dlpi_phdr, info.dlpi_phnum)) {
        if (segment.p_type == PT_LOAD) {
            module.size = std::max<uint64_t>(module.size, segment.p_vaddr + segment.p_memsz);
        } else if (segment.p_type == PT_NOTE && module.buildId.empty()) {
            // Notes are mapped where they were linked, moved by the load address.
            const uint64_t address = info.dlpi_addr + segment.p_vaddr;
            const auto* notes = reinterpret_cast<const char*>(address); // NOLINT(performance-no-int-to-ptr)
            module.buildId = buildIdNote(notes, segment.p_memsz);
        }
    }
    return module;
}

// The kernel's own page is nobody's handler and stands elsewhere in each program start.
bool isKernelPage(std::string_view path) {
    return path.starts_with("linux-vdso") || path.starts_with("linux-gate");
}

int collect(dl_phdr_info* info, size_t /*size*/, void* image) {
    if (!isKernelPage(info->dlpi_name)) {
        static_cast<ProcessImage*>(image)->modules.push_back(describe(*info));
    }
    return 0;
}

void putNumber(std::vector<std::byte>& bytes, uint64_t number) {
    putBytes(bytes, &number, sizeof number);
}

void putText(std::vector<std::byte>& bytes, std::string_view text) {
    text = text.substr(0, kLongestText);
    putNumber(bytes, text.size());
    putBytes(bytes, text.data(), text.size());
}

bool takeNumber(std::span<const std::byte>& bytes, uint64_t& number) {
    return takeBytes(bytes, &number, sizeof number);
}

bool takeText(std::span<const std::byte>& bytes, std::string& text) {
    uint64_t length = 0;
    if (!takeNumber(bytes, length) || length > std::min(bytes.size(), kLongestText)) {
        return false;
    }
    text.assign(reinterpret_cast<const char*>(bytes.data()), length);
    bytes = bytes.subspan(length);
    return true;
}

std::string_view fileName(std::string_view path) {
    return path.substr(path.find_last_of('/') + 1);
}

// The same file; or one of the same name, so that two copies of a library are noticed.
const Module* counterpart(const Module& module, const std::vector<Module>& others) {
    for (const Module& other : others) {
        if (other.path == module.path) {
            return &other;
        }
    }
    for (const Module& other : others) {
        if (fileName(other.path) == fileName(module.path)) {
            return &other;
        }
    }
    return nullptr;
}

std::string describeDifference(const Module& sender, const Module& receiver) {
    std::string what = sender.path.empty() ? "the main program" : sender.path;
    if (sender.buildId != receiver.buildId || sender.size != receiver.size) {
        return what + " is another build there";
    }
    char addresses[96];
    std::snprintf(addresses, sizeof addresses, " is loaded at 0x%" PRIx64 " here and at 0x%" PRIx64 " there",
                  sender.address, receiver.address);
    return what + addresses;
}

} // namespace

ProcessImage ownImage() {
    ProcessImage image;
    image.pid = static_cast<uint32_t>(getpid());
    // The loader's lock is not released in a child that is forked while another thread holds it.
    const std::lock_guard lock(messageService().forkMutex);
    image.name = TarnHostProcessName();
    dl_iterate_phdr(collect, &image);
    return image;
}

std::vector<std::byte> encodeImage(const ProcessImage& image) {
    std::vector<std::byte> bytes;
    putNumber(bytes, image.pid);
    putText(bytes, image.name);
    for (const Module& module : image.modules) {
        putNumber(bytes, module.address);
        putNumber(bytes, module.size);
        putText(bytes, module.buildId);
        putText(bytes, module.path);
    }
    return bytes;
}

std::optional<ProcessImage> decodeImage(std::span<const std::byte> bytes) {
    ProcessImage image;
    uint64_t pid = 0;
    if (!takeNumber(bytes, pid) || !takeText(bytes, image.name)) {
        return std::nullopt;
    }
    image.pid = static_cast<uint32_t>(pid);
    while (!bytes.empty()) {
        Module module;
        if (!takeNumber(bytes, module.address) || !takeNumber(bytes, module.size) || !takeText(bytes, module.buildId) ||
            !takeText(bytes, module.path)) {
            return std::nullopt;
        }
        image.modules.push_back(std::move(module));
    }
    return image;
}

std::string imageDifference(const ProcessImage& sender, const ProcessImage& receiver) {
    for (const Module& module : sender.modules) {
        const Module* other = counterpart(module, receiver.modules);
        if (other == nullptr ||
            (other->address == module.address && other->buildId == module.buildId && other->size == module.size)) {
            continue;
        }
        return "process " + sender.name + " (pid " + std::to_string(sender.pid) + ") cannot call process " +
               receiver.name + " (pid " + std::to_string(receiver.pid) + "): " + describeDifference(module, *other) +
               "; start both from one image, for example with tarn_launch";
    }
    return {};
}

} // namespace tarn::host

#include "log/log_client.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <utility>

#include "base/fork_handlers.h"
#include "base/standard_error.h"
#include "tarn_host/host_process.h"

namespace tarn::host {
namespace {

// The text up to its NUL, or the whole field.
std::string_view fieldText(const char* field, size_t bytes) {
    return {field, strnlen(field, bytes)};
}

bool usableName(std::string_view name) {
    const auto harmless = [](char c) { return c > ' ' && c <= '~' && c != '/'; };
    return !name.empty() && name.size() < sizeof OmLogCreationRecord::name && name.front() != '.' &&
           std::all_of(name.begin(), name.end(), harmless);
}

bool usableLimits(const OmLogCreationRecord& creation) {
    constexpr uint32_t mostKept = 999;
    return creation.recordBytes != 0 && creation.recordBytes <= kMaxRecordBytes && creation.fileCount <= mostKept &&
           creation.maxFileBytes != 0;
}

} // namespace

// Never destroyed: other objects log while the process exits.
LogClient& LogClient::instance() {
    static LogClient& client = *new LogClient;
    return client;
}

LogClient::LogClient() {
    readEnvironment();
    // A child must neither find the lock held by a thread that it does not have nor write to its parent's files.
    registerForkHandlers([] { instance().mutex_.lock(); }, [] { instance().mutex_.unlock(); },
                         [] {
                             instance().forgetParent();
                             instance().mutex_.unlock();
                         });
}

void LogClient::readEnvironment() {
    const char* copy = std::getenv("TARN_LOG_STDERR");
    copyToStandardError_ = copy != nullptr && *copy != '\0' && std::string_view(copy) != "0";
}

void LogClient::forgetParent() {
    for (File& file : files_) {
        file.file.close();
        file.troubles.forget();
        file.lost = 0;
    }
    directory_.release();
    processName_.clear();
    lost_ = 0;
    line_.forgetParent();
}

uint32_t LogClient::connect() {
    const std::lock_guard lock(mutex_);
    readEnvironment();
    connected_ = true;
    return 0;
}

uint32_t LogClient::disconnect() {
    const std::lock_guard lock(mutex_);
    if (!connected_) {
        return ENOTCONN;
    }
    for (File& file : files_) {
        file.file.close();
        file.troubles.forget();
    }
    directory_.release();
    processName_.clear();
    connected_ = false;
    return 0;
}

LogClient::File* LogClient::fileNamed(std::string_view name) {
    const auto used = files_.begin() + static_cast<std::ptrdiff_t>(created_);
    const auto known = std::find_if(files_.begin(), used, [name](const File& file) { return file.name == name; });
    if (known != used) {
        return &*known;
    }
    if (created_ == files_.size()) {
        return nullptr;
    }
    files_[created_].name = name;
    return &files_[created_++];
}

uint32_t LogClient::createFile(const OmLogCreationRecord& creation, uint16_t& fileId) {
    const std::string_view name = fieldText(creation.name, sizeof creation.name);
    if (!usableName(name) || !usableLimits(creation)) {
        return EINVAL;
    }
    const std::lock_guard lock(mutex_);
    if (!connected_) {
        return ENOTCONN;
    }
    File* file = fileNamed(name);
    if (file == nullptr) {
        return EMFILE;
    }
    file->recordBytes = creation.recordBytes;
    file->limits = {creation.maxFileBytes, creation.fileCount};
    // A file that cannot be opened now is tried again with every record.
    open(*file);
    // Callers publish it to threads that are logging already.
    std::atomic_ref(fileId).store(static_cast<uint16_t>(file - files_.data() + 1), std::memory_order_relaxed);
    return 0;
}

LogClient::File* LogClient::fileOf(uint16_t fileId) {
    return connected_ && fileId != 0 && fileId <= created_ ? &files_[fileId - 1U] : nullptr;
}

const char* LogClient::processName() {
    if (processName_.empty()) {
        processName_ = TarnHostProcessName();
    }
    return processName_.c_str();
}

bool LogClient::open(File& file) {
    const time_t now = time(nullptr);
    const bool thorough = std::exchange(file.lookedAt, now) != now;
    if (file.file.current(thorough)) {
        return true;
    }
    file.file.close();
    int error = directory_.claim(processName());
    if (error == 0) {
        error = file.file.open(directory_.path() + "/" + file.name);
    }
    file.troubles.note(LogTrouble::kOpening, error, file.name, file.lost);
    return error == 0;
}

bool LogClient::append(File& file, std::string_view line) {
    const int noRoom = file.file.makeRoom(line.size(), file.limits);
    file.troubles.note(LogTrouble::kRotating, noRoom, file.name, 0);
    const int error = file.file.append(line);
    file.troubles.note(LogTrouble::kWriting, error, file.name, file.lost);
    return error == 0;
}

// A reader of the file alone must see that it has a gap.
bool LogClient::appendLossNote(File& file) {
    std::array<char, 64> text;
    const int length =
        std::snprintf(text.data(), text.size(), "%" PRIu64 " records before this one were lost", file.lost);
    const LogRecord note = {2, "host_log", __LINE__, {text.data(), static_cast<size_t>(length)}, 0};
    if (!append(file, line_.compose(processName(), note))) {
        return false;
    }
    file.lost = 0;
    return true;
}

bool LogClient::writeTo(File& file, const LogRecord& record) {
    if (!open(file) || (file.lost != 0 && !appendLossNote(file))) {
        return false;
    }
    return append(file, line_.compose(processName(), record));
}

void LogClient::write(uint16_t fileId, LogRecord record, size_t textBytes) {
    const std::lock_guard lock(mutex_);
    File* file = fileOf(fileId);
    const size_t limit = file == nullptr ? kMaxRecordBytes : file->recordBytes;
    record.text = record.text.substr(0, wholeCharacters(record.text, limit));
    record.cutBytes = textBytes - record.text.size();
    if (copyToStandardError_) {
        writeStandardError(line_.compose(processName(), record));
    }
    if (file == nullptr) {
        ++lost_;
        return;
    }
    bool isWritten = false;
    try {
        isWritten = writeTo(*file, record);
    } catch (const std::bad_alloc&) {
        // Opening the file needs memory; the next record tries again.
    }
    if (!isWritten) {
        ++file->lost;
        ++lost_;
    }
}

std::string LogClient::directoryPath() {
    const std::lock_guard lock(mutex_);
    return directory_.path();
}

uint64_t LogClient::lostRecords() {
    const std::lock_guard lock(mutex_);
    return lost_;
}

} // namespace tarn::host

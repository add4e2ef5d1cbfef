// What the certificate tests of the host platform share.
#pragma once

#include <sys/resource.h>
#include <sys/types.h>

#include <functional>
#include <string>

#include "file/scratch_directory.h"
#include "handshake.h"
#include "pki.h"

namespace tarn::test {

// A path below "cert" of the host directory; the folder of a service type there.
std::string below(const std::string& name);
std::string folderOf(uint32_t omType);

// As a key has to be, or with another mode.
void writeOwnFile(const std::string& path, const std::string& content, unsigned mode = 0600);

// Waits for it, for many seconds on a busy machine.
bool comesTrue(const std::function<bool()>& condition);

// Results as of the host platform's calls.
uint32_t install(uint32_t omType, const std::string& certificate, const std::string& key,
                 const std::string& passPhrase = "", bool isKeyless = false);
uint32_t install(uint32_t omType, const Identity& identity, const std::string& passPhrase = "", bool isKeyless = false);
uint32_t addCa(const std::string& certificates);
uint32_t addCrl(const std::string& lists);

// The id that the certificate service gives a certificate.
std::string idOf(const Certificate& certificate);

// A child that does `work` and ends with its result.
pid_t inChild(const std::function<int()>& work);
int exitCodeOf(pid_t child);

// While it lives, no file of this process grows beyond so many bytes, as on a full disk.
class FileSizeLimit {
 public:
    explicit FileSizeLimit(size_t bytes);
    ~FileSizeLimit();
    FileSizeLimit(const FileSizeLimit&) = delete;
    FileSizeLimit& operator=(const FileSizeLimit&) = delete;

 private:
    rlimit before_ = {};
};

// A server with what the library loads for a type, and a client with what it lists as trusted, shake hands.
HandshakeResult handshakeAs(uint32_t type);

} // namespace tarn::test

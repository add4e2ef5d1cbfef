// The subcommands of "tarnctl cert", and what they share.
#pragma once

#include <ctime>
#include <string>
#include <string_view>
#include <vector>

#include "command.h"
#include "tarn_host/host_certificate.h"

namespace tarnctl {

void addCertList(Command cert);
void addCertInstall(Command cert);
void addCertTrust(Command cert);
void addCertRevoke(Command cert);
void addCertCheck(Command cert);
void addCertDemoCa(Command cert);

// An option that takes an OM certificate type, "0x107" and so on.
Argument addTypeOption(Command command, uint32_t& omType);

// All that is installed; an exit code.
int readFacts(std::vector<TarnHostCertFacts>& facts);

// A whole file of up to 16 MiB; an exit code.
int readPem(const std::string& path, std::string& content);

// Why a certificate or list cannot be used, read or put in its place, for people.
std::string reasonText(uint32_t error);

// The same for a key: it has meanings of its own for some codes.
std::string keyReasonText(uint32_t error);

// A day as in ISO 8601-1, UTC.
std::string dayText(int64_t seconds);

// Whole days from now until then, rounded down: negative when that is over.
int64_t daysLeft(int64_t seconds);

} // namespace tarnctl

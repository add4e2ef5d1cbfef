// A CA certificate to come and go during the run.
#pragma once

#include <string>

namespace tarn::soak {

// PEM text of a new self-signed certificate; empty when OpenSSL fails.
std::string makeCaCertificate();

} // namespace tarn::soak

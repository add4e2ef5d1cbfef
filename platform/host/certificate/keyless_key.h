// The private key of a keyless service certificate, found by the certificate's id.
#pragma once

#include "certificate/x509_content.h"

namespace tarn::host {

// 0 or an errno: ENOENT when no keyless certificate has this id; EKEYREJECTED when the key beside it is not its own.
int loadKeylessKey(const std::string& id, KeyPointer& key);

} // namespace tarn::host

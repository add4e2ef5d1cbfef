// How a process of the endpoint follows the certificate service.
#pragma once

#include "processes/service_process.h"

namespace tarn::demo {

// cert-start: connects to the certificate service and notes its news, those of certificates as "certificate-change",
// those of CA files as "ca-update".
Reply startCertificates(const Arguments& arguments);

// Meeting: tls-talk TYPE: serves one conversation with a certificate of that type, to which it calls media.
Reply talkOverTls(const Arguments& arguments);
// Meeting: forgets the contexts whose certificates changed; `change` as the library's callback gives it.
void forgetTlsContexts(uint32_t change);

} // namespace tarn::demo

// The trust store: a directory of copies of the CA and CRL files, the CA files under their subject-hash names.
#pragma once

namespace tarn::detail {

// Builds the store anew from the directories that the certificate service reports. What fails is logged.
void ConfCertUpdateLdapCert();

// Gives each certificate file of the store its hash name. 0, or 1 when the directory cannot be read.
int ConfCertCreateCertSoftLink(const char* storeDir);

} // namespace tarn::detail

// "tarnctl cert list".
#include <cstdio>
#include <memory>

#include "cert.h"
#include "item_text.h"
#include "json.h"

namespace tarnctl {
namespace {

constexpr std::array<const char*, 3> kKinds = {"service", "ca", "crl"};

std::string remaining(int64_t end) {
    const int64_t days = daysLeft(end);
    return days < 0 ? "over" : std::to_string(days) + (days == 1 ? " day left" : " days left");
}

std::string keyText(const TarnHostCertFacts& facts) {
    std::string text = facts.keyType;
    if (facts.kind == TARN_HOST_CERT_SERVICE) {
        text += facts.isKeyless != 0 ? ", keyless" : ", by key file";
        text += facts.keyError != 0 ? ", unusable: " + keyReasonText(facts.keyError) : "";
    }
    return text;
}

void printField(const char* name, const std::string& value) {
    if (!value.empty()) {
        std::printf("  %-8s %s\n", name, valueText(value).c_str());
    }
}

void print(const TarnHostCertFacts& facts) {
    std::printf("%s\n", emphasised(std::string(kKinds[facts.kind]) + " " + valueText(facts.name)).c_str());
    if (facts.error != 0) {
        printField("unusable", reasonText(facts.error));
        return;
    }
    printField("subject", facts.subject);
    printField("issuer", facts.issuer);
    printField("valid",
               dayText(facts.notBefore) + " to " +
                   (facts.notAfter == 0 ? "any day" : dayText(facts.notAfter) + ", " + remaining(facts.notAfter)));
    printField("key", keyText(facts));
    printField("hash", facts.hashName);
    printField("id", facts.id);
}

Json objectOf(const TarnHostCertFacts& facts) {
    Json object = makeObject();
    addMember(*object, "kind", kKinds[facts.kind]);
    addMember(*object, "name", facts.name);
    if (facts.error != 0) {
        addMember(*object, "error", reasonText(facts.error));
        return object;
    }
    addMember(*object, "subject", facts.subject);
    addMember(*object, "issuer", facts.issuer);
    addMember(*object, "notBefore", static_cast<double>(facts.notBefore));
    if (facts.notAfter != 0) {
        addMember(*object, "notAfter", static_cast<double>(facts.notAfter));
        addMember(*object, "daysLeft", static_cast<double>(daysLeft(facts.notAfter)));
    }
    addMember(*object, "keyType", facts.keyType);
    addMember(*object, "hashName", facts.hashName);
    addMember(*object, "id", facts.id);
    if (facts.kind == TARN_HOST_CERT_SERVICE) {
        addMember(*object, "use", facts.isKeyless != 0 ? "keyless" : "keyFile");
        addMember(*object, "keyError", facts.keyError == 0 ? "" : keyReasonText(facts.keyError));
    }
    return object;
}

int list(bool json) {
    std::vector<TarnHostCertFacts> all;
    const int read = readFacts(all);
    if (read != kDone) {
        return read;
    }
    const Json array = makeArray();
    for (const TarnHostCertFacts& facts : all) {
        if (json) {
            addElement(*array, objectOf(facts));
        } else {
            print(facts);
        }
    }
    if (json) {
        printText(*array);
    }
    return finish();
}

} // namespace

void addCertList(Command cert) {
    Command command = cert.subcommand("list", "Prints what is installed, and until when it is valid");
    auto json = std::make_shared<bool>(false);
    command.flag("--json", *json, "Print a JSON array; times are seconds since 1970");
    command.runs([json] { return list(*json); });
}

} // namespace tarnctl

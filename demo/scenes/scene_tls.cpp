#include <algorithm>
#include <thread>

#include "director/tool.h"
#include "scenes/scene.h"

namespace tarn::demo {
namespace {

constexpr const char* kKeyFileType = "0x107"; // to the library, type 0
constexpr const char* kKeylessType = "0x103"; // type 2
constexpr const char* kCrlEvent = "[ConfOmCertCallback]ConfOmCertCallback enter, msgId = 3";

// Where the certificates of this scene are.
struct Certificates {
    Stage& stage;
    std::string authority;
    std::filesystem::path store;

    std::string file(const std::string& name) const { return authority + "/" + name; }
};

bool tool(const std::vector<std::string>& arguments) {
    return runTarnctl(arguments).exitCode == 0;
}

template <typename Condition>
bool comesTrue(Condition condition) {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(3);
    while (!condition()) {
        if (interrupted() || std::chrono::steady_clock::now() > deadline) {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    return true;
}

bool install(const Certificates& at, const char* omType, const std::string& name, bool isKeyless = false) {
    std::vector<std::string> words = {
        "cert", "install", omType, "--cert", at.file(name + ".pem"), "--key", at.file(name + ".key")};
    if (isKeyless) {
        words.emplace_back("--keyless");
    }
    return tool(words);
}

Reply talk(const Certificates& at, int type) {
    return at.stage.endpoint.ask(kMeeting, text("tls-talk %d", type));
}

bool talkedAs(const Reply& reply, const std::string& name) {
    return field(reply, "talked") == "1" && field(reply, "protocol").rfind("TLSv1.3 ", 0) == 0 &&
           field(reply, "peer") == "/CN=" + name;
}

bool refused(const Reply& reply, const std::string& reason) {
    return field(reply, "call") == "0" && field(reply, "talked") == "0" && field(reply, "outcome") == reason &&
           !field(reply, "server-reason").empty();
}

// "told: " and what the callback was told, once it was.
std::string news(const Certificates& at, const char* process, const char* kind) {
    const Reply arrived = at.stage.endpoint.ask(process, text("inbox %s 1 3000", kind));
    return field(arrived, "count") == "1" ? "told: " + field(arrived, "last") : "not told";
}

std::vector<std::string> hashNames(const Certificates& at) {
    std::vector<std::string> names;
    std::error_code ignored;
    for (const auto& entry : std::filesystem::directory_iterator(at.store, ignored)) {
        if (entry.path().extension() == ".0") {
            names.push_back(entry.path().filename());
        }
    }
    return names;
}

void start(Certificates& at) {
    Transcript& out = at.stage.transcript;
    out.check(tool({"cert", "demo-ca", at.authority, "--issue", "meeting", "meeting-keyless", "meeting-renewed"}) &&
                  install(at, kKeyFileType, "meeting") && install(at, kKeylessType, "meeting-keyless", true),
              "tarnctl made a CA and installed two certificates for meeting, the key of one with the engine only");
    const std::string store = field(at.stage.endpoint.ask(kMeeting, "cert-start"), "store");
    at.store = store;
    out.check(news(at, kMeeting, "certificate-change") == "told: 0",
              "meeting connected to the certificate service; its callback heard of what had changed before");
    out.check(!store.empty() && field(at.stage.endpoint.ask(kMedia, "cert-start"), "store") == store,
              "media connected too");
    const Reply stranger = talk(at, 0);
    out.check(field(stranger, "ca-files") == "0" && refused(stranger, "self-signed certificate in certificate chain"),
              "media trusts nobody yet, and so does not talk to meeting: " + field(stranger, "outcome"));
}

void trust(Certificates& at) {
    Transcript& out = at.stage.transcript;
    const bool isAdded = tool({"cert", "ca", "add", at.file("ca.pem")});
    out.check(isAdded && news(at, kMedia, "ca-update") == "told: ",
              "tarnctl added the CA; media's callback for CA files was called");
    std::vector<std::string> names;
    comesTrue([&] { return (names = hashNames(at)).size() == 1; });
    out.check(names.size() == 1 && runTarnctl({"cert", "list"}).output.find("hash     " + names[0]) < std::string::npos,
              "the trust store holds it under its hash name:");
    out.quote("storage/" + (names.empty() ? "" : names[0]));
    const ToolResult verified =
        runOpenssl({"verify", "-no-CAfile", "-no-CAstore", "-CApath", at.store.string(), at.file("meeting.pem")});
    if (verified.exitCode < 0) {
        out.note("openssl is not installed and could not be asked about it");
    } else {
        out.check(verified.exitCode == 0 && verified.output == at.file("meeting.pem") + ": OK",
                  "openssl verify -CApath accepts meeting's certificate by it");
    }
}

void talkBothWays(Certificates& at) {
    Transcript& out = at.stage.transcript;
    const Reply byFile = talk(at, 0);
    out.check(talkedAs(byFile, "meeting") && field(byFile, "ca-files") == "1",
              "media called meeting over " + field(byFile, "protocol") + ", meeting's key from its file:");
    out.quote(field(byFile, "heard"));
    out.quote(field(byFile, "outcome"));
    const Reply keyless = talk(at, 2);
    const auto lines = at.stage.logs.linesWith(kMeeting, "get cert from type [");
    out.check(talkedAs(keyless, "meeting-keyless") && !lines.empty(),
              "and again with the keyless certificate; the engine signed, asked by the certificate's id:");
    out.quote(lines.empty() ? "" : lines.back());
}

void revoke(Certificates& at) {
    Transcript& out = at.stage.transcript;
    out.check(at.stage.logs.linesWith(kMedia, kCrlEvent).empty() &&
                  tool({"cert", "revoke", at.file("meeting.pem"), "--ca", at.authority}) &&
                  comesTrue([&] { return at.stage.logs.linesWith(kMedia, kCrlEvent).size() == 1; }),
              "tarnctl revoked a certificate, and the event reached media:");
    const auto events = at.stage.logs.linesWith(kMedia, kCrlEvent);
    out.quote(events.empty() ? "" : events.back());
    const Reply reply = talk(at, 0);
    const auto loaded = at.stage.logs.linesWith(kMedia, "crl acFileName");
    out.check(refused(reply, "certificate revoked") && !loaded.empty(),
              "media loaded the revocation list and broke off the next handshake: " + field(reply, "outcome"));
    out.quote("meeting was told: " + field(reply, "server-reason"));
    const ToolResult checked = runTarnctl({"cert", "check"});
    out.check(checked.exitCode == 1 && checked.output == "0x107: peers refuse it: certificate revoked",
              "tarnctl cert check, which fills its contexts as processes do, says the same");
    out.check(talkedAs(talk(at, 2), "meeting-keyless"), "the other certificate is as good as before");
}

void renew(Certificates& at) {
    Transcript& out = at.stage.transcript;
    out.check(install(at, kKeyFileType, "meeting-renewed") && news(at, kMeeting, "certificate-change") == "told: 0",
              "tarnctl installed a new one; meeting's callback heard of it");
    const Reply reply = talk(at, 0);
    out.check(talkedAs(reply, "meeting-renewed"), "media talks to meeting again, which shows " + field(reply, "peer"));
}

} // namespace

void sceneTls(Stage& stage) {
    stage.transcript.scene("Two processes talk over TLS, while certificates come and are revoked");
    Certificates at = {stage, stage.directory / "authority", {}};
    start(at);
    trust(at);
    talkBothWays(at);
    revoke(at);
    renew(at);
}

} // namespace tarn::demo

// tarnctl: shows and changes what the host platform keeps below its directory.
#include <cstdio>
#include <exception>

#include "command.h"
#include "tarn_host/host_process.h"

int main(int argc, char** argv) {
    CLI::App app(
        "Shows and drives the host platform. Everything it looks at stands below TARN_HOST_DIR\n"
        "(without it $XDG_RUNTIME_DIR/tarn, else /tmp/tarn-UID).",
        "tarnctl");
    app.footer("Exit codes: 0 done; 1 failed; 2 wrong usage; 3 the key, file or process is not there.");
    app.set_version_flag("--version", "tarnctl " TARN_VERSION);
    app.require_subcommand(1);
    tarnctl::Chosen chosen;
    tarnctl::addConfigCommand(app, chosen);
    tarnctl::addLogCommand(app, chosen);
    tarnctl::addPsCommand(app, chosen);
    try {
        app.parse(argc, argv);
        TarnHostSetProcessName("tarnctl");
        return chosen();
    } catch (const CLI::ParseError& error) {
        return app.exit(error) == 0 ? tarnctl::kDone : tarnctl::kUsage;
    } catch (const std::exception& error) {
        return tarnctl::complain(tarnctl::kFailed, error.what());
    }
}

// An image for tarn_launch.
#include <iterator>

#include "tarn_host/host_launcher.h"

namespace {

int fine(void* /*argument*/) {
    return 0;
}

int failing(void* /*argument*/) {
    return 5;
}

constexpr TarnHostProcess kProcesses[] = {{"fine", fine, nullptr}, {"failing", failing, nullptr}};

} // namespace

extern "C" __attribute__((visibility("default"))) const TarnHostImage tarnHostImage;
const TarnHostImage tarnHostImage = {TARN_HOST_IMAGE_VERSION, std::size(kProcesses), kProcesses};

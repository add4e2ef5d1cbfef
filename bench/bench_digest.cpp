// The one-shot digest beside what OpenSSL offers for the same. Its calls are counted: each keeps a context.
#include <string>

#include <openssl/evp.h>

#include "ratio.h"
#include "tarn_conference/conf_digest.h"

namespace {

constexpr size_t kShort = 16;
constexpr size_t kKibibyte = 1024;
constexpr size_t kMebibyte = 1024 * kKibibyte;

unsigned char digest[EVP_MAX_MD_SIZE];

struct OneShot {
    std::string data;
    void operator()() {
        uint32_t length = 0;
        benchmark::DoNotOptimize(ZOR_CRYPT_digest(ZOR_CRYPT_DIGEST_SHA256, data.data(),
                                                  static_cast<uint32_t>(data.size()), digest, &length));
    }
};

struct Streaming {
    std::string data;
    void operator()() {
        EVP_MD_CTX* context = nullptr;
        uint32_t length = 0;
        if (ZOR_CRYPT_digestInit(&context, ZOR_CRYPT_DIGEST_SHA256) == 1 &&
            ZOR_CRYPT_digestUpdate(context, data.data(), static_cast<uint32_t>(data.size())) == 1) {
            benchmark::DoNotOptimize(ZOR_CRYPT_digestFinal(&context, digest, &length));
        }
    }
};

struct BareDigest {
    std::string data;
    void operator()() {
        unsigned int length = 0;
        benchmark::DoNotOptimize(EVP_Digest(data.data(), data.size(), digest, &length, EVP_sha256(), nullptr));
    }
};

struct QuickDigest {
    std::string data;
    void operator()() {
        size_t length = 0;
        benchmark::DoNotOptimize(EVP_Q_digest(nullptr, "SHA256", nullptr, data.data(), data.size(), digest, &length));
    }
};

// The algorithm fetched once.
struct PrefetchedDigest {
    std::string data;
    void operator()() {
        static EVP_MD* const sha256 = EVP_MD_fetch(nullptr, "SHA256", nullptr);
        unsigned int length = 0;
        benchmark::DoNotOptimize(EVP_Digest(data.data(), data.size(), digest, &length, sha256, nullptr));
    }
};

template <typename Call>
void hash(benchmark::State& state) {
    Call call{std::string(static_cast<size_t>(state.range(0)), 'x')};
    for (auto iteration : state) {
        call();
    }
    state.SetBytesProcessed(state.iterations() * state.range(0));
}
BENCHMARK(hash<OneShot>)->Arg(kShort)->Arg(kKibibyte)->Iterations(100'000);
BENCHMARK(hash<Streaming>)->Arg(kShort)->Arg(kKibibyte)->Arg(kMebibyte);
BENCHMARK(hash<BareDigest>)->Arg(kShort)->Arg(kKibibyte)->Arg(kMebibyte);
BENCHMARK(hash<QuickDigest>)->Arg(kShort);
BENCHMARK(hash<PrefetchedDigest>)->Arg(kShort);

template <typename Call, typename Reference>
double ratioFor(size_t length) {
    const std::string data(length, 'x');
    return tarn::bench::medianRatio(Call{data}, Reference{data});
}

bool ratios() {
    using tarn::bench::holds;
    bool allHold = true;
    allHold &= holds("one-shot, 1 KiB, to EVP_Digest", ratioFor<OneShot, BareDigest>(kKibibyte), 1.05);
    allHold &= holds("one-shot, 1 MiB, to EVP_Digest", ratioFor<OneShot, BareDigest>(kMebibyte), 1.05);
    allHold &= holds("one-shot, 16 bytes, to EVP_Q_digest", ratioFor<OneShot, QuickDigest>(kShort), 1.05);
    // Beside the hash these make a context that is kept, or pass through three calls: wide limits, only against decay.
    allHold &= holds("one-shot, 16 bytes, to a prefetched EVP_MD", ratioFor<OneShot, PrefetchedDigest>(kShort), 1.75);
    allHold &=
        holds("streaming, 16 bytes, to a prefetched EVP_MD", ratioFor<Streaming, PrefetchedDigest>(kShort), 1.75);
    return allHold;
}

} // namespace

int main(int argc, char** argv) {
    return tarn::bench::runAll(argc, argv, ratios);
}

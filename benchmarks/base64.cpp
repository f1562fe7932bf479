// Base64 in memory, both directions, compared with OpenSSL's block functions and GLib's step functions: all write into
// an existing buffer. Measured in turns within one run.
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <random>
#include <string>
#include <vector>

#include <glib.h>
#include <openssl/evp.h>

#include "bench_support.h"
#include "mbase64.h"

namespace {

constexpr int kTurns = 41;
constexpr std::size_t kBytesPerTurn = std::size_t{4} << 20;

std::string randomBytes(std::size_t size) {
    std::mt19937 random(4648);
    std::string bytes(size, '\0');
    for (char& byte : bytes) byte = static_cast<char>(random());
    return bytes;
}

// Microseconds per call in one turn.
double measure(const std::function<std::size_t()>& call, std::size_t size, std::size_t expected) {
    const std::size_t rounds = kBytesPerTurn / size;
    bool good = true;
    const long long start = bench::threadTime();
    for (std::size_t i = 0; i < rounds; ++i) {
        const std::size_t count = call();
        good = good && count >= expected && count < expected + 3;  // OpenSSL also counts the bytes of the padding
    }
    const long long end = bench::threadTime();
    if (!good) {
        std::fprintf(stderr, "bench: a coder failed\n");
        std::exit(1);
    }
    return static_cast<double>(end - start) * 1e-3 / static_cast<double>(rounds);
}

struct Peer {
    const char* name;
    double aim;
    std::function<std::size_t()> call;
};

// Measures ours and the peers in turns.
void compare(const std::string& what, std::size_t size, std::size_t expected, const std::function<std::size_t()>& ours,
             const std::vector<Peer>& peers, std::vector<bench::Result>& results) {
    std::vector<double> own;
    std::vector<std::vector<double>> others(peers.size());
    for (int turn = 0; turn < kTurns; ++turn) {
        own.push_back(measure(ours, size, expected));
        for (std::size_t i = 0; i < peers.size(); ++i) others[i].push_back(measure(peers[i].call, size, expected));
    }
    for (std::size_t i = 0; i < peers.size(); ++i) {
        results.push_back(
            {what + " beside " + peers[i].name, "us", bench::median(own), bench::median(others[i]), peers[i].aim});
    }
}

void measureSize(const std::string& sizeName, std::size_t size, std::vector<bench::Result>& results) {
    constexpr double kBesideOpenSsl = 1 / 0.95;
    constexpr double kBesideGLib = 1 / 1.4;
    const std::string bytes = randomBytes(size);
    const std::size_t textSize = MBase64_EncodedSize(size);
    std::string text(textSize + 8, '\0');
    std::string back(textSize + 8, '\0');
    auto* const textBytes = reinterpret_cast<unsigned char*>(text.data());
    auto* const backBytes = reinterpret_cast<unsigned char*>(back.data());
    const auto* const source = reinterpret_cast<const unsigned char*>(bytes.data());

    compare(
        "encode " + sizeName, size, textSize,
        [&] {
            return static_cast<std::size_t>(
                MBase64_Encode(text.data(), bytes.data(), static_cast<std::ptrdiff_t>(size)));
        },
        {
            {"EVP_EncodeBlock", kBesideOpenSsl,
             [&] { return static_cast<std::size_t>(EVP_EncodeBlock(textBytes, source, static_cast<int>(size))); }},
            {"g_base64_encode_step", kBesideGLib,
             [&] {
                 gint state = 0;
                 gint save = 0;
                 const gsize count = g_base64_encode_step(source, size, FALSE, text.data(), &state, &save);
                 return count + g_base64_encode_close(FALSE, text.data() + count, &state, &save);
             }},
        },
        results);
    compare(
        "decode " + sizeName, size, size,
        [&] {
            return static_cast<std::size_t>(
                MBase64_Decode(back.data(), text.data(), static_cast<std::ptrdiff_t>(textSize)));
        },
        {
            {"EVP_DecodeBlock", kBesideOpenSsl,
             [&] {
                 return static_cast<std::size_t>(EVP_DecodeBlock(backBytes, textBytes, static_cast<int>(textSize)));
             }},
            {"g_base64_decode_step", kBesideGLib,
             [&] {
                 gint state = 0;
                 guint save = 0;
                 return g_base64_decode_step(text.data(), textSize, backBytes, &state, &save);
             }},
        },
        results);
}

}  // namespace

int main() {
    std::vector<bench::Result> results;
    measureSize("1 KB", std::size_t{1} << 10, results);
    measureSize("1 MB", std::size_t{1} << 20, results);
    return bench::report("Base64, median of turns", results, "peer") ? 0 : 1;
}

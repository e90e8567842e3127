#include "image/Measures.h"

#include <openssl/evp.h>

#include <cmath>
#include <memory>
#include <stdexcept>

#include "common/Hex.h"

namespace korasim {

// SHA-256 through OpenSSL's EVP interface, over the visible bytes row by row.
std::string visibleSha256(const YuvImage& image) {
    std::unique_ptr<EVP_MD_CTX, decltype(&EVP_MD_CTX_free)> ctx(EVP_MD_CTX_new(), EVP_MD_CTX_free);
    bool ok = ctx != nullptr && EVP_DigestInit_ex(ctx.get(), EVP_sha256(), nullptr) == 1;
    for (uint32_t y = 0; ok && y < image.height(); ++y)
        ok = EVP_DigestUpdate(ctx.get(), image.luma() + size_t(y) * image.stride(),
                              image.width()) == 1;
    for (uint32_t y = 0; ok && y < image.chromaRows(); ++y)
        ok = EVP_DigestUpdate(ctx.get(), image.chroma() + size_t(y) * image.stride(),
                              image.chromaRowBytes()) == 1;
    unsigned char digest[EVP_MAX_MD_SIZE];
    unsigned int size = 0;
    if (!ok || EVP_DigestFinal_ex(ctx.get(), digest, &size) != 1)
        throw std::runtime_error("korasim: SHA-256 of a buffer failed in libcrypto");
    return hexBytes(digest, size);
}

double lumaSharpness(const YuvImage& buffer) {
    const uint32_t w = buffer.width(), h = buffer.height(), s = buffer.stride();
    if (w < 3 || h < 3)
        return 0.0;
    double total = 0;
    for (uint32_t y = 1; y + 1 < h; ++y) {
        const uint8_t* a = buffer.luma() + size_t(y - 1) * s;
        const uint8_t* b = a + s;
        const uint8_t* c = b + s;
        double rowSum = 0;
        for (uint32_t x = 1; x + 1 < w; ++x) {
            const int gx =
                (a[x + 1] + 2 * b[x + 1] + c[x + 1]) - (a[x - 1] + 2 * b[x - 1] + c[x - 1]);
            const int gy = (c[x - 1] + 2 * c[x] + c[x + 1]) - (a[x - 1] + 2 * a[x] + a[x + 1]);
            rowSum += std::sqrt(static_cast<double>(gx * gx + gy * gy));
        }
        total += rowSum;
    }
    // Sobel sums are four times a unit-step difference.
    return total / (4.0 * double(w - 2) * double(h - 2));
}

}  // namespace korasim

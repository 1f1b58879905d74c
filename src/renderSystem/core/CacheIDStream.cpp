#include "QUILT/CacheIDStream.h"

#include <array>
#include <stdexcept>

#include <openssl/evp.h>

namespace QUILT
{

std::string compressCacheID(const std::string& text)
{
    std::array<unsigned char, 16> digest{};
    if (EVP_Digest(text.data(), text.size(), digest.data(), nullptr, EVP_md5(), nullptr) != 1)
        throw std::runtime_error("MD5 is not available: identities of tasks cannot be made.");

    std::string compressed = "$";
    compressed.reserve(1 + 2 * digest.size());
    for (const unsigned char byte : digest)
    {
        compressed += static_cast<char>('a' + (byte & 15));
        compressed += static_cast<char>('a' + (byte >> 4));
    }
    return compressed;
}

}

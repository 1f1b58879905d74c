#include "files/PictureKinds.h"

#include <algorithm>
#include <cctype>
#include <string_view>

#include <unistd.h>

namespace EMULSION::Private
{

using namespace std::literals;

namespace
{

struct Signature
{
    size_t place;
    std::string_view bytes;
    PictureKind kind;
};

constexpr PictureKind s_tiff = {"TIFF", "tiff"};
constexpr PictureKind s_png = {"PNG", "png"};
constexpr PictureKind s_jpeg = {"JPEG", "jpeg"};
constexpr PictureKind s_dpx = {"DPX", "dpx"};
constexpr PictureKind s_cineon = {"Cineon", "cineon"};
constexpr PictureKind s_hdr = {"Radiance", "hdr"};
constexpr PictureKind s_tga = {"TGA", "tga"};
constexpr PictureKind s_bmp = {"BMP", "bmp"};
constexpr PictureKind s_pnm = {"PNM", "pnm"};
constexpr PictureKind s_sgi = {"SGI", "sgi"};
constexpr PictureKind s_webp = {"WebP", "webp"};
constexpr PictureKind s_psd = {"PSD", "psd"};
constexpr PictureKind s_jpeg2000 = {"JPEG 2000", "jpeg2000"};

constexpr Signature s_signatures[] = {
    {0, "II*\0"sv, s_tiff},
    {0, "MM\0*"sv, s_tiff},
    {0, "II+\0"sv, s_tiff},
    {0, "MM\0+"sv, s_tiff},
    {0, "\x89PNG\r\n\x1a\n"sv, s_png},
    {0, "\xff\xd8\xff"sv, s_jpeg},
    {0, "SDPX"sv, s_dpx},
    {0, "XPDS"sv, s_dpx},
    {0, "\x80\x2a\x5f\xd7"sv, s_cineon},
    {0, "\xd7\x5f\x2a\x80"sv, s_cineon},
    {0, "#?RADIANCE"sv, s_hdr},
    {0, "#?RGBE"sv, s_hdr},
    {0, "\x01\xda"sv, s_sgi},
    {8, "WEBP"sv, s_webp},
    {0, "8BPS\0\1"sv, s_psd},
    {0, "8BPS\0\2"sv, s_psd},
    {0, "\0\0\0\x0cjP  \r\n\x87\n"sv, s_jpeg2000},
    {0, "\xff\x4f\xff\x51"sv, s_jpeg2000},
    {0, "GIF8"sv, {"GIF"}},
    {0, "SIMPLE  ="sv, {"FITS"}},
    {0, "DDS "sv, {"DDS"}},
    {0, "\0\0\1\0"sv, {"ICO"}},
    {4, "ftyphei"sv, {"HEIF"}},
    {4, "ftypmif1"sv, {"HEIF"}},
    {4, "ftypavif"sv, {"AVIF"}},
    {4, "ftypcrx "sv, {"camera raw"}},
    {0, "FUJIFILMCCD-RAW"sv, {"camera raw"}},
    {0, "\xff\x0a"sv, {"JPEG XL"}},
    {0, "\0\0\0\x0cJXL \r\n\x87\n"sv, {"JPEG XL"}},
    {0, "FOR4"sv, {"IFF"}},
    {128, "DICM"sv, {"DICOM"}},
    {0, "P7\n"sv, {"PAM"}},
};

std::string extensionOf(const std::string& path)
{
    const size_t dot = path.rfind('.');
    if (dot == std::string::npos || path.find('/', dot) != std::string::npos)
        return {};
    std::string extension = path.substr(dot + 1);
    std::transform(extension.begin(), extension.end(), extension.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return extension;
}

bool isOneOf(const std::string& text, std::initializer_list<std::string_view> list)
{
    return std::find(list.begin(), list.end(), text) != list.end();
}

unsigned byteAt(const std::string& head, size_t place)
{
    return static_cast<unsigned char>(head[place]);
}

bool isPnm(const std::string& head)
{
    return head.size() >= 3 && head[0] == 'P' &&
           std::string_view("123456fF").find(head[1]) != std::string_view::npos &&
           std::isspace(byteAt(head, 2));
}

// Two letters are a weak sign: the size of the second header says more.
bool isBmp(const std::string& head)
{
    if (head.size() < 26 || head[0] != 'B' || head[1] != 'M')
        return false;
    const unsigned size = byteAt(head, 14);
    return (size == 12 || size == 40 || size == 52 || size == 56 || size == 64 || size == 108 ||
            size == 124) &&
           head.compare(15, 3, "\0\0\0"sv) == 0;
}

bool endsWithTgaSignature(const FoundFile& file)
{
    constexpr std::string_view signature = "TRUEVISION-XFILE.\0"sv;
    char end[signature.size()];
    if (file.stamp.size < signature.size())
        return false;
    const auto place = static_cast<off_t>(file.stamp.size - signature.size());
    return ::pread(file.descriptor.number(), end, sizeof(end), place) ==
               static_cast<ssize_t>(sizeof(end)) &&
           std::string_view(end, sizeof(end)) == signature;
}

// Old TGA files say nowhere what they are: the header must make sense, and the name must agree.
bool isTga(const FoundFile& file)
{
    const std::string& head = file.head;
    if (head.size() < 18)
        return false;
    const unsigned map = byteAt(head, 1), type = byteAt(head, 2), bits = byteAt(head, 16);
    const bool makesSense =
        map <= 1 && (type & 7U) >= 1 && (type & 7U) <= 3 && (type & ~15U) == 0 &&
        (bits == 8 || bits == 15 || bits == 16 || bits == 24 || bits == 32) &&
        (byteAt(head, 12) | byteAt(head, 13)) != 0 && (byteAt(head, 14) | byteAt(head, 15)) != 0;
    return makesSense && (isOneOf(extensionOf(file.path), {"tga", "tpic", "icb", "vda", "vst"}) ||
                          endsWithTgaSignature(file));
}

}

PictureKind pictureKindOf(const FoundFile& file)
{
    for (const Signature& signature : s_signatures)
        if (file.head.size() >= signature.place + signature.bytes.size() &&
            file.head.compare(signature.place, signature.bytes.size(), signature.bytes) == 0)
        {
            // Inside they are TIFF files, which would show the thumbnail.
            const bool isRaw = signature.kind.format == s_tiff.format &&
                               isOneOf(extensionOf(file.path), {"arw", "cr2", "dng", "nef", "nrw",
                                                                "orf", "pef", "rw2", "sr2", "srw"});
            return isRaw ? PictureKind{"camera raw"} : signature.kind;
        }
    if (isPnm(file.head))
        return s_pnm;
    if (isBmp(file.head))
        return s_bmp;
    if (isTga(file))
        return s_tga;
    return {};
}

}

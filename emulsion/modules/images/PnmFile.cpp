#include "PnmFile.h"

#include <algorithm>
#include <bit>
#include <cctype>
#include <string>
#include <utility>

namespace EMULSION::Module
{

namespace
{

// The numbers of the header, with white space and comments before each.
class HeaderText
{
public:
    explicit HeaderText(std::string text) : m_text(std::move(text)) {}

    size_t place() const { return m_place; }

    // -1 when there is none, or one that no header has.
    int64_t number()
    {
        skip();
        int64_t value = isDigit() ? 0 : -1;
        for (; isDigit() && value < (1 << 24); ++m_place)
            value = value * 10 + (m_text[m_place] - '0');
        return value;
    }

private:
    bool isDigit() const { return m_place < m_text.size() && std::isdigit(byte()); }
    int byte() const { return static_cast<unsigned char>(m_text[m_place]); }

    void skip()
    {
        while (m_place < m_text.size() && (std::isspace(byte()) || byte() == '#'))
            if (byte() == '#')
                m_place = std::min(m_text.find('\n', m_place), m_text.size());
            else
                ++m_place;
    }

    const std::string m_text;
    size_t m_place = 2; // behind the two letters
};

}

std::optional<PnmFile> PnmFile::find(Stream& file)
{
    std::string head(4096, '\0');
    head.resize(file.pread(head.data(), head.size(), 0));
    if (head.size() < 2 || head[0] != 'P' || (head[1] != '5' && head[1] != '6'))
        return {};
    HeaderText text(head);
    const int64_t width = text.number(), height = text.number(), most = text.number();
    if (width < 1 || height < 1 || most < 1 || most > 65535)
        return {};
    return PnmFile(file, static_cast<int64_t>(text.place()) + 1, most); // one space ends it
}

bool PnmFile::read(int64_t first, int64_t end, size_t rowBytes, std::byte* rows)
{
    const size_t count = static_cast<size_t>(end - first) * rowBytes;
    const size_t done =
        m_file->pread(rows, count, m_start + first * static_cast<int64_t>(rowBytes));
    // The upper byte comes first.
    if (m_most > 255 && std::endian::native == std::endian::little)
        for (size_t i = 0; i + 1 < count; i += 2)
            std::swap(rows[i], rows[i + 1]);
    return done == count;
}

}

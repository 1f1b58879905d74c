#include "Bramble3/XmlElement.h"

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <sstream>
#include <stdexcept>
#include <string_view>
#include <utility>

#include <pugixml.hpp>

namespace Bramble3::XmlIO::v1
{

namespace
{

// In ASCII, whatever the locale calls a letter.
bool isLetter(char c)
{
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_';
}

bool isNameCharacter(char c)
{
    return isLetter(c) || (c >= '0' && c <= '9') || c == '-' || c == '.';
}

bool isPlain(const std::string& name)
{
    if (name.empty() || !isLetter(name.front()) ||
        !std::all_of(name.begin(), name.end(), isNameCharacter))
        return false;
    const bool reserved = name.size() >= 3 && (name[0] | 0x20) == 'x' && (name[1] | 0x20) == 'm' &&
                          (name[2] | 0x20) == 'l';
    return !reserved;
}

bool isPlain(const Element& element)
{
    const auto hasPlainName = [](const Element::Attribute& a) { return isPlain(a.name); };
    const std::string& name = element.getName();
    return isPlain(name) && name != "element" && name != "attribute" &&
           std::all_of(element.getAttributes().begin(), element.getAttributes().end(),
                       hasPlainName);
}

// The length in bytes of the character at the front of the text, 0 when it is not one that an XML
// document may hold.
std::size_t characterLength(std::string_view text)
{
    const auto byte = [text](std::size_t i) { return static_cast<unsigned char>(text[i]); };
    const unsigned char lead = byte(0);
    if (lead < 0x80)
        return lead >= 0x20 || lead == '\t' || lead == '\n' || lead == '\r' ? 1 : 0;
    const std::size_t length = lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : 2;
    if (lead < 0xC2 || lead > 0xF4 || text.size() < length)
        return 0;
    uint32_t code = lead & (0xFFu >> (length + 1));
    for (std::size_t i = 1; i < length; ++i)
    {
        if ((byte(i) & 0xC0) != 0x80)
            return 0;
        code = code << 6 | (byte(i) & 0x3Fu);
    }
    static constexpr uint32_t s_leastOfLength[] = {0, 0, 0x80, 0x800, 0x10000};
    const bool surrogate = code >= 0xD800 && code <= 0xDFFF;
    const bool allowed = !surrogate && code != 0xFFFE && code != 0xFFFF && code <= 0x10FFFF;
    return allowed && code >= s_leastOfLength[length] ? length : 0;
}

std::string withoutForbidden(std::string_view text)
{
    std::string result;
    while (!text.empty())
    {
        const std::size_t length = characterLength(text);
        result += length > 0 ? text.substr(0, length) : "\xEF\xBF\xBD";
        text.remove_prefix(std::max<std::size_t>(length, 1));
    }
    return result;
}

void setAttribute(pugi::xml_node node, const std::string& name, const std::string& value)
{
    node.append_attribute(name.c_str()).set_value(withoutForbidden(value).c_str());
}

void write(pugi::xml_node parent, const Element& element)
{
    const bool plain = isPlain(element);
    pugi::xml_node node = parent.append_child(plain ? element.getName().c_str() : "element");
    if (!plain)
        setAttribute(node, "name", element.getName());
    for (const Element::Attribute& attribute : element.getAttributes())
    {
        if (plain)
        {
            setAttribute(node, attribute.name, attribute.value);
            continue;
        }
        const pugi::xml_node child = node.append_child("attribute");
        setAttribute(child, "name", attribute.name);
        setAttribute(child, "value", attribute.value);
    }
    for (const std::shared_ptr<Element>& child : element.getChildren())
        write(node, *child);
}

}

std::shared_ptr<Element> Element::create(const std::string& name)
{
    return std::shared_ptr<Element>(new Element(name));
}

void Element::addChild(std::shared_ptr<Element> child)
{
    if (!child)
        throw std::invalid_argument("An XML element's child cannot be null.");
    m_children.push_back(std::move(child));
}

void Element::setAttr(const std::string& name, const std::string& value)
{
    const auto sameName = [&name](const Attribute& attribute) { return attribute.name == name; };
    const auto found = std::find_if(m_attributes.begin(), m_attributes.end(), sameName);
    if (found == m_attributes.end())
        m_attributes.push_back({name, value});
    else
        found->value = value;
}

void Element::setAttr(const std::string& name, const char* value)
{
    setAttr(name, std::string(value));
}

void Element::setAttr(const std::string& name, int value)
{
    setAttr(name, std::to_string(value));
}

void Element::setAttr(const std::string& name, long value)
{
    setAttr(name, std::to_string(value));
}

void Element::setAttr(const std::string& name, unsigned long value)
{
    setAttr(name, std::to_string(value));
}

void Element::setAttr(const std::string& name, double value)
{
    char text[32];
    const auto [end, error] = std::to_chars(text, text + sizeof text, value);
    setAttr(name, std::string(text, end));
}

const std::string* Element::findAttr(const std::string& name) const
{
    for (const Attribute& attribute : m_attributes)
    {
        if (attribute.name == name)
            return &attribute.value;
    }
    return nullptr;
}

std::string Element::toText() const
{
    pugi::xml_document document;
    write(document.root(), *this);
    std::ostringstream stream;
    document.save(stream, "  ", pugi::format_default, pugi::encoding_utf8);
    return stream.str();
}

}

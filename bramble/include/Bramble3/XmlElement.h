#pragma once

#include <memory>
#include <string>
#include <vector>

#include "Bramble3/Export.h"

/// The tree of named values in which reports are handed out.
namespace Bramble3::XmlIO::v1
{

/// A name, attributes and children, each in the order in which they came. Names and values may be
/// any text in UTF-8, blanks and brackets included. Not to be changed by one thread while another
/// uses it.
class BRAMBLE_API Element
{
public:
    struct Attribute
    {
        std::string name;
        std::string value;
    };

    static std::shared_ptr<Element> create(const std::string& name);

    /// Throws std::invalid_argument for a null pointer.
    void addChild(std::shared_ptr<Element> child);

    /// Sets an attribute; one that is there already keeps its place. Numbers are written alike in
    /// every locale, floating-point ones with the fewest digits that give the same number back.
    void setAttr(const std::string& name, const std::string& value);
    void setAttr(const std::string& name, const char* value);
    void setAttr(const std::string& name, int value);
    void setAttr(const std::string& name, long value);
    void setAttr(const std::string& name, unsigned long value);
    void setAttr(const std::string& name, double value);

    const std::string& getName() const { return m_name; }
    const std::vector<Attribute>& getAttributes() const { return m_attributes; }
    const std::vector<std::shared_ptr<Element>>& getChildren() const { return m_children; }

    /// The value of an attribute, null when there is none of that name.
    const std::string* findAttr(const std::string& name) const;

    /// A well-formed XML document of this element, its attributes and all below it, in UTF-8.
    ///
    /// An element whose name and attributes' names are plain is written as
    ///
    ///     <name attribute="value"> children </name>
    ///
    /// and any other in a form in which every name stands as a value:
    ///
    ///     <element name="Any Name">
    ///       <attribute name="Any Attribute" value="value"/> ...
    ///       children
    ///     </element>
    ///
    /// A plain name is an ASCII letter or "_" followed by letters, digits, "_", "-" and ".", which
    /// does not begin with "xml" in any case; the names "element" and "attribute" are not plain
    /// ones for an element. So the tree can be read back, but for what XML cannot hold: a character
    /// that it forbids and a byte that is not UTF-8 are written as U+FFFD.
    std::string toText() const;

private:
    explicit Element(const std::string& name) : m_name(name) {}

    const std::string m_name;
    std::vector<Attribute> m_attributes;
    std::vector<std::shared_ptr<Element>> m_children;
};

}

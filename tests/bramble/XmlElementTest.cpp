#include <Bramble3/XmlElement.h>

#include <limits>
#include <stdexcept>

#include <gtest/gtest.h>
#include <pugixml.hpp>

#include "support/Random.h"

using Bramble3::XmlIO::v1::Element;
using QUILT::Test::forEachRandomCase;
using QUILT::Test::Random;

namespace
{

// What another program makes of a text, by the rules that toText states.
std::shared_ptr<Element> read(const pugi::xml_node& node)
{
    const bool plain = std::string(node.name()) != "element";
    auto element = Element::create(plain ? node.name() : node.attribute("name").as_string());
    if (plain)
    {
        for (const pugi::xml_attribute& attribute : node.attributes())
            element->setAttr(attribute.name(), attribute.value());
    }
    for (const pugi::xml_node& child : node.children())
    {
        if (std::string(child.name()) == "attribute")
            element->setAttr(child.attribute("name").value(), child.attribute("value").value());
        else
            element->addChild(read(child));
    }
    return element;
}

void expectSame(const Element& a, const Element& b)
{
    EXPECT_EQ(a.getName(), b.getName());
    ASSERT_EQ(a.getAttributes().size(), b.getAttributes().size());
    for (std::size_t i = 0; i < a.getAttributes().size(); ++i)
    {
        EXPECT_EQ(a.getAttributes()[i].name, b.getAttributes()[i].name);
        EXPECT_EQ(a.getAttributes()[i].value, b.getAttributes()[i].value);
    }
    ASSERT_EQ(a.getChildren().size(), b.getChildren().size());
    for (std::size_t i = 0; i < a.getChildren().size(); ++i)
        expectSame(*a.getChildren()[i], *b.getChildren()[i]);
}

std::string randomText(Random& random)
{
    static constexpr const char* s_parts[] = {
        "a", "Z9", "-",  ".",  " ", "(",   "<",   "&",    ">",       "\"",
        "'", "\n", "\t", "\r", "é", "]]>", "xml", "name", "element", "attribute"};
    std::string text;
    for (int64_t i = random.between(0, 3); i > 0; --i)
        text += random.pick(s_parts);
    return text;
}

std::shared_ptr<Element> randomElement(Random& random, int depth)
{
    auto element = Element::create(random.oneIn(2) ? "plain" : randomText(random));
    for (int64_t i = random.between(0, 3); i > 0; --i)
        element->setAttr(random.oneIn(2) ? "id" : randomText(random), randomText(random));
    for (int64_t i = depth > 0 ? random.between(0, 3) : 0; i > 0; --i)
        element->addChild(randomElement(random, depth - 1));
    return element;
}

}

TEST(XmlElement, WritesPlainNamesAsTheyAreAndOthersAsValues)
{
    const auto root = Element::create("report");
    root->setAttr("version", 2);
    root->setAttr("text", "a < \"b\" & c");
    const auto child = Element::create("Render Manager");
    child->setAttr("Peak Memory Usage (FileIn)", std::string("3 MB"));
    child->setAttr("id", -5L);
    root->addChild(child);
    child->addChild(Element::create("leaf"));
    EXPECT_EQ(root->toText(),
              "<?xml version=\"1.0\"?>\n"
              "<report version=\"2\" text=\"a &lt; &quot;b&quot; &amp; c\">\n"
              "  <element name=\"Render Manager\">\n"
              "    <attribute name=\"Peak Memory Usage (FileIn)\" value=\"3 MB\" />\n"
              "    <attribute name=\"id\" value=\"-5\" />\n"
              "    <leaf />\n"
              "  </element>\n"
              "</report>\n");
    EXPECT_THROW(root->addChild(nullptr), std::invalid_argument);
}

TEST(XmlElement, AttributesKeepTheirPlaceAndNumbersTheirValue)
{
    const auto element = Element::create("e");
    element->setAttr("first", 0.1);
    element->setAttr("second", std::numeric_limits<long>::min());
    element->setAttr("first", 1e300);
    element->setAttr("third", 0.5f);
    ASSERT_EQ(element->getAttributes().size(), 3u);
    EXPECT_EQ(element->getAttributes()[0].value, "1e+300");
    EXPECT_EQ(element->getAttributes()[1].value, "-9223372036854775808");
    EXPECT_EQ(*element->findAttr("third"), "0.5");
    EXPECT_EQ(element->findAttr("fourth"), nullptr);
    element->setAttr("first", 0.1);
    EXPECT_EQ(*element->findAttr("first"), "0.1");
}

TEST(XmlElement, WhatXmlCannotHoldIsReplaced)
{
    const auto element = Element::create("e");
    element->setAttr("v", std::string("a\0b\x01\xFF\xC3(\xED\xA0\x80|\xEF\xBF\xBF", 14));
    pugi::xml_document document;
    ASSERT_TRUE(document.load_string(element->toText().c_str()));
    const std::string mark = "\xEF\xBF\xBD";
    EXPECT_EQ(document.child("e").attribute("v").value(), "a" + mark + "b" + mark + mark + mark +
                                                              "(" + mark + mark + mark + "|" +
                                                              mark + mark + mark);
}

TEST(XmlElement, AnyTreeCanBeReadBack)
{
    forEachRandomCase(2000, [](Random& random) {
        const auto tree = randomElement(random, 2);
        pugi::xml_document document;
        ASSERT_TRUE(document.load_string(tree->toText().c_str())) << tree->toText();
        expectSame(*tree, *read(document.first_child()));
    });
}

#include "Bramble3/Configuration.h"

#include <cstdlib>

namespace Bramble3::BzConfiguration::v1
{

std::optional<std::string> Configuration::find(const std::string& key) const
{
    {
        const std::lock_guard lock(m_mutex);
        if (const auto value = m_values.find(key); value != m_values.end())
            return value->second;
    }
    if (const char* value = std::getenv(key.c_str()))
        return value;
    return std::nullopt;
}

bool Configuration::has(const std::string& key) const
{
    return find(key).has_value();
}

std::string Configuration::get(const std::string& key) const
{
    if (const auto value = find(key))
        return *value;
    if (key == "LANTERN_TMPDIR")
        return find("TMPDIR").value_or("/tmp");
    return {};
}

void Configuration::set(const std::string& key, const std::string& value)
{
    const std::lock_guard lock(m_mutex);
    m_values[key] = value;
}

void Configuration::unset(const std::string& key)
{
    const std::lock_guard lock(m_mutex);
    m_values.erase(key);
}

Configuration& Config()
{
    // Never destroyed: threads that outlive the end of main may still ask.
    static Configuration* const config = new Configuration;
    return *config;
}

}

#pragma once

#include <map>
#include <mutex>
#include <optional>
#include <string>

#include "Bramble3/Export.h"

/// The process's configuration: named texts that steer it from outside.
namespace Bramble3::BzConfiguration::v1
{

/// The store of the process, made on first use and never destroyed. Safe from any thread.
///
/// A key's value is the one that the process has set, otherwise the environment variable of that
/// name, otherwise a default. Keys have the form of environment variables.
class BRAMBLE_API Configuration
{
public:
    /// True when the process or the environment has set the key, to whatever value, an empty one
    /// included. Defaults do not count.
    bool has(const std::string& key) const;

    /// The key's value. The default of LANTERN_TMPDIR is that of TMPDIR, then "/tmp"; all other
    /// keys default to the empty text.
    std::string get(const std::string& key) const;

    /// Sets a key for this process, before whatever the environment says.
    void set(const std::string& key, const std::string& value);

    /// Forgets what the process has set; the environment is heard again.
    void unset(const std::string& key);

private:
    std::optional<std::string> find(const std::string& key) const;

    mutable std::mutex m_mutex; // a leaf lock: guards m_values
    std::map<std::string, std::string> m_values;
};

BRAMBLE_API Configuration& Config();

}

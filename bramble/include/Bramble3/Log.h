#pragma once

#include <functional>
#include <string>

#include "Bramble3/Export.h"

/// What went wrong inside, for whoever watches over the application.
namespace Bramble3::internal::BzLogging
{

/// What takes messages in place of standard error: (logger's name, message, severity). It is
/// called on the thread that logs, by several threads at once; what it throws is dropped.
using Sink = std::function<void(const std::string&, const std::string&, int)>;

/// Sets the sink of the process; an empty one brings standard error back. A message that is under
/// way may still go to the sink that was there before. Safe from any thread.
BRAMBLE_API void setSink(Sink sink);

/// A source of messages with a name. Safe from any thread.
class BRAMBLE_API BzLog
{
public:
    explicit BzLog(const std::string& name);

    /// Hands a message to the sink, or writes it to standard error as one line, "<name>:
    /// <severity>: <message>". The greater the severity the worse; 50 is an error that the process
    /// can live with. Never throws.
    void log(const std::string& message, int severity) const noexcept;

private:
    const std::string m_name;
};

}

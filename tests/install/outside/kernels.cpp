#include <iostream>

#include <EMULSION/Channels.h>
#include <EMULSION/Error.h>

int main()
{
    std::cout << EMULSION::GetChannelMaskName(15) << ' ' << EMULSION::GetError() << '\n';
}

#include <iostream>

#include <EMULSION/Channels.h>
#include <EMULSION/Error.h>
#include <EMULSION/WriteImage.h>

// With a path, writes a picture there.
int main(int argc, char** argv)
{
    if (argc > 1)
    {
        float grey = 0.5f;
        const EMULSION::Image image = {1, 1, UTIL::Rect(0, 0, 1, 1), sizeof(grey), &grey};
        EMULSION::WriteImage(argv[1], &image, "", {});
    }
    std::cout << EMULSION::GetChannelMaskName(15) << ' ' << EMULSION::GetErrorMessage()
              << EMULSION::GetError() << '\n';
}

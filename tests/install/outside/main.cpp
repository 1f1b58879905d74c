#include <iostream>

#include <EMULSION/Plumbing.h>
#include <QUILT/ProceduralTasks.h>
#include <QUILT/RenderManager.h>

struct Printer : QUILT::RenderObserver
{
    void outputTileRendered(QUILT::ImageBuffer tile, const QUILT::FinalTile&) override
    {
        float rgba[4] = {};
        tile.lock();
        EMULSION::GetPixel(tile.getImage(), 99, 39, rgba);
        tile.unlock();
        std::cout << tile.getBounds() << ' ' << rgba[0] << ' ' << rgba[3] << '\n';
    }
};

int main()
{
    const UTIL::Rect rect(0, 0, 100, 40);
    const auto color = QUILT::createColorTask("color", 0, rect, {0.25f, 0, 0, 0.5f});
    QUILT::RenderManager::Render({{color, rect}}, new Printer, nullptr, false,
                                 QUILT::RenderManager::RenderTypePrimary);
}

#include "QUILT/RenderObserver.h"

namespace QUILT
{

RenderObserver::~RenderObserver() = default;

void RenderObserver::outputTileRendered(ImageBuffer, const FinalTile&) {}

void RenderObserver::outputTileChanged(ImageBuffer, const FinalTile&) {}

void RenderObserver::outputFinished(unsigned long) {}

void RenderObserver::renderSetupDone(unsigned long) {}

void RenderObserver::renderStarted() {}

void RenderObserver::tileRendered(const std::string&, const std::string&, double) {}

void RenderObserver::renderError(const std::string&, const std::string&, const std::string&, int) {}

void RenderObserver::renderCancelled() {}

void RenderObserver::tileFinished(const TileReport&) {}

OutputTilePrioritizer::~OutputTilePrioritizer() = default;

}

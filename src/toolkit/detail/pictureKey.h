#pragma once

#include "toolkit/Picture.h"
#include "toolkit/surfacePaint.h"

#include <string>

namespace trimora {

/// What the colors of a panel mean, in its upper left corner: a bar with numbers, or swatches with their labels. Nothing for plain
/// surfaces, and where the panel is too small to read.
///
/// left, width   of the panel in the picture
void drawKey(SurfacePaint const& paint, int left, int width, Picture& picture);

/// A word or two at the panel's lower edge, in its middle.
void drawCaption(std::string const& text, int left, int width, Picture& picture);

/// The pixels of a picture that a text covers are mixed with its color. Letters are drawn small, what there is no
/// sign for as a blank.
///
/// x, y     of the upper left corner
/// height   of the tallest letters, in pixels
/// returns  the width
double drawText(std::string const& text, double x, double y, double height,
                LinearColor const& color, Picture& picture);
double textWidth(std::string const& text, double height);

}  // namespace trimora

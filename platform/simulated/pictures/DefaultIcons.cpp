#include "simulated/pictures/DefaultIcons.h"

namespace simulated {
namespace {

struct Range {
  std::uint32_t begin;
  std::uint32_t end;
};

/** Fills a rectangle. Its coordinates are in 64ths of the side. */
void Fill(Picture& picture, Range across, Range down, std::uint32_t argb) {
  const std::uint32_t side = picture.width;
  for (std::uint32_t y = down.begin * side / 64; y < down.end * side / 64; ++y) {
    for (std::uint32_t x = across.begin * side / 64; x < across.end * side / 64; ++x) picture.At(x, y) = argb;
  }
}

}  // namespace

Picture DrawWindow(std::uint32_t sidePixels) {
  Picture window(sidePixels, sidePixels);
  Fill(window, {4, 60}, {8, 56}, 0xFF5B6B7F);   // frame
  Fill(window, {6, 58}, {18, 54}, 0xFFFBFCFD);  // client area
  Fill(window, {6, 58}, {10, 18}, 0xFF3D7BC4);  // caption
  Fill(window, {50, 56}, {11, 17}, 0xFFF2F5F8);
  Fill(window, {12, 52}, {26, 29}, 0xFFB7C3D0);
  Fill(window, {12, 52}, {34, 37}, 0xFFB7C3D0);
  Fill(window, {12, 38}, {42, 45}, 0xFFB7C3D0);
  return window;
}

Picture DrawFolder(std::uint32_t sidePixels) {
  Picture folder(sidePixels, sidePixels);
  Fill(folder, {4, 28}, {10, 20}, 0xFFD9A441);
  Fill(folder, {4, 60}, {16, 54}, 0xFFE9BC5C);
  Fill(folder, {4, 60}, {24, 54}, 0xFFF6D27C);
  return folder;
}

}  // namespace simulated

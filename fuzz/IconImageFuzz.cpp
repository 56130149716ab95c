// Images of icons: a decoded image is complete, within bounds, and can be drawn and saved.
#include "Expect.h"
#include "simulated/pictures/IconImage.h"
#include "simulated/pictures/PngFile.h"

using fuzz::Expect;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const auto image = simulated::DecodeIconImage({data, size});
  if (!image) return 0;
  const simulated::Picture& picture = image->picture;
  Expect(picture.width > 0 && picture.width <= simulated::kLargestIconSide, "a width within bounds");
  Expect(picture.height > 0 && picture.height <= simulated::kLargestIconSide, "a height within bounds");
  Expect(picture.argb.size() == std::size_t{picture.width} * picture.height, "all pixels there");
  if (picture.argb.size() > 64 * 64) return 0;  // saving is slow, and large pictures find no other errors
  simulated::Scaled(picture, 32);
  Expect(simulated::DecodePng(simulated::EncodePng(picture), simulated::kLargestIconSide) == picture,
         "the same picture after it was saved");
  return 0;
}

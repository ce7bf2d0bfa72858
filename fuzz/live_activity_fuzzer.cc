// Live Activity files are written by the main app into the app group's LiveActivities folder,
// and the host reads every one of them as it changes: any bytes must give an activity or an
// error, a decoded activity must survive its own encoding, and every presentation must lay out
// whatever its hours, window and zone say (at the sample moment and at the window's own ends).
#include <cstdint>

#include "activity/presentations.h"
#include "activity/rain_window.h"
#include "fuzz_support.h"
#include "sample_moment.h"

using namespace pluvo;

namespace {

// Half an em a character: the layouts' arithmetic without a font.
activity::TextMetrics halfEm(std::string_view text, const activity::Font& font) {
  return {0.5 * font.size * static_cast<double>(text.size()), font.size, 0.25 * font.size};
}

void layOut(const activity::ContentState& state) {
  const activity::MeasureText measure = halfEm;
  for (Instant now : {fuzz::kSampleNow, state.windowStart, state.windowEnd}) {
    const activity::PresentationInput input{state, now, fuzz::kSampleZone, measure};
    activity::lockCard(input);
    activity::watchBanner(input);
    activity::islandExpanded(input);
    activity::islandCompact(input);
    activity::islandMinimal(input);
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view bytes = fuzz::asText(data, size);
  auto file = fuzz::requireRoundTrip(bytes, activity::decodeActivityFile,
                                     activity::encodeActivityFile, "activity file");
  if (file) layOut(file->state);
  // The CLI's STATE argument: a channel file or a bare state.
  if (auto input = activity::decodeActivityInput(bytes)) {
    fuzz::require(!file || input->state == file->state, "a channel file reads the same state");
    layOut(input->state);
  } else {
    fuzz::require(!input.error().message.empty(), "a failed decode says why");
  }
  return 0;
}

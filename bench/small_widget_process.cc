// A process that only draws: reads a snapshot file and writes the small widget's PNG, with none
// of the command line's other libraries (libcurl and its TLS stack, CLI11, the property-list
// library) loaded. render_bench starts it cold beside `pluvo-widget render` to show what the
// drawing itself costs a fresh process.
//
//   small_widget_process SNAPSHOT.json OUT.png
#include <cstdio>
#include <fstream>
#include <sstream>

#include "model/widget_snapshot.h"
#include "widgets/widget_view.h"

int main(int argc, char** argv) {
  if (argc != 3) {
    std::fprintf(stderr, "usage: small_widget_process SNAPSHOT.json OUT.png\n");
    return 2;
  }
  std::ifstream in(argv[1], std::ios::binary);
  std::ostringstream bytes;
  bytes << in.rdbuf();
  auto snapshot = pluvo::model::decodeWidgetSnapshot(bytes.str());
  if (!snapshot) {
    std::fprintf(stderr, "small_widget_process: %s: %s\n", argv[1],
                 snapshot.error().message.c_str());
    return 1;
  }
  auto image =
      pluvo::widgets::renderWidget("PluvoCurrentSmallWidget", *snapshot, snapshot->updatedAt, {});
  if (!image) {
    std::fprintf(stderr, "small_widget_process: %s\n", image.error().message.c_str());
    return 1;
  }
  std::ofstream(argv[2], std::ios::binary) << image->bytes;
  return 0;
}

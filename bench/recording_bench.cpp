// Recording: 10,000 mixed operations (filled rectangles, stroked lines, small
// four-verb paths) into a layout, beside the same drawing recorded on a cairo
// recording surface. Reports operations per second and the heap bytes each
// recording holds per operation (counted with mallinfo2 around the recording).
// Argument 0: the paths end with a cubic (6 points); 1: lines only (4 points).
#include <benchmark/benchmark.h>
#include <cairo.h>
#include <malloc.h>

#include <cstdint>

#include "orvel/core/heap_bitmap_storage.h"
#include "orvel/core/paint.h"
#include "orvel/layout/layout.h"
#include "orvel/layout/recording_canvas.h"
#include "orvel/path/path.h"
#include "ratio.h"

namespace {

using namespace orvel;

constexpr int kOps = 10000;

size_t HeapInUse() {
  const struct mallinfo2 m = mallinfo2();
  return m.uordblks + m.hblkhd;
}

// Coordinates that vary with the operation's index, the same for both sides.
float Coord(int i, int k) { return float((i * 7 + k * 13) % 500); }

void RecordOrvel(OvRecordingCanvas& canvas, const OvPaint& fill, const OvPaint& stroke, bool linesOnly) {
  uint8_t verbs[4];
  OvPoint points[6];
  OvPathStorage storage = {verbs, 4, points, 6};
  for (int i = 0; i < kOps; ++i) {
    const float x = Coord(i, 0), y = Coord(i, 1);
    switch (i % 3) {
      case 0:
        canvas.drawRect(OvRect{x, y, x + 20, y + 10}, fill);
        break;
      case 1:
        canvas.drawLine(x, y, x + 30, y + 5, stroke);
        break;
      default: {
        OvPath path(&storage);
        path.moveTo({x, y}).lineTo({x + 10, y}).lineTo({x + 10, y + 10});
        if (linesOnly) {
          path.lineTo({x, y + 5});
        } else {
          path.cubicTo({x + 5, y + 15}, {x, y + 12}, {x, y + 5});
        }
        canvas.drawPath(path, fill);
        break;
      }
    }
  }
}

void RecordCairo(cairo_t* cr, bool linesOnly) {
  for (int i = 0; i < kOps; ++i) {
    const double x = Coord(i, 0), y = Coord(i, 1);
    switch (i % 3) {
      case 0:
        cairo_set_source_rgba(cr, 0, 0, 0, 1);
        cairo_rectangle(cr, x, y, 20, 10);
        cairo_fill(cr);
        break;
      case 1:
        cairo_set_source_rgba(cr, 0, 0, 0, 1);
        cairo_set_line_width(cr, 1);
        cairo_move_to(cr, x, y);
        cairo_line_to(cr, x + 30, y + 5);
        cairo_stroke(cr);
        break;
      default:
        cairo_set_source_rgba(cr, 0, 0, 0, 1);
        cairo_move_to(cr, x, y);
        cairo_line_to(cr, x + 10, y);
        cairo_line_to(cr, x + 10, y + 10);
        if (linesOnly) {
          cairo_line_to(cr, x, y + 5);
        } else {
          cairo_curve_to(cr, x + 5, y + 15, x, y + 12, x, y + 5);
        }
        cairo_fill(cr);
        break;
    }
  }
}

void BM_RecordLayout(benchmark::State& state) {
  OvPaint fill, stroke;
  stroke.setStrokeWidth(2);
  OvHeapBitmapStorage bitmaps;
  const bool linesOnly = state.range(0) != 0;
  size_t held = 0, stream = 0;
  for (auto _ : state) {
    const size_t before = HeapInUse();
    OvLayout layout;
    OvRecordingCanvas canvas(&layout.drawList(), &layout.resourceList(), &bitmaps);
    RecordOrvel(canvas, fill, stroke, linesOnly);
    benchmark::DoNotOptimize(layout.drawList().lastOp());
    held = HeapInUse() - before;
    stream = layout.drawList().totalUsedSize();
  }
  state.SetItemsProcessed(int64_t(state.iterations()) * kOps);
  state.counters["heap_bytes_per_op"] = double(held) / kOps;
  // The records alone, as packets would carry them.
  state.counters["record_bytes_per_op"] = double(stream) / kOps;
}
BENCHMARK(BM_RecordLayout)->Arg(0)->Arg(1);

void BM_RecordCairo(benchmark::State& state) {
  const bool linesOnly = state.range(0) != 0;
  size_t held = 0;
  for (auto _ : state) {
    const size_t before = HeapInUse();
    cairo_surface_t* surface = cairo_recording_surface_create(CAIRO_CONTENT_COLOR_ALPHA, nullptr);
    cairo_t* cr = cairo_create(surface);
    RecordCairo(cr, linesOnly);
    cairo_surface_flush(surface);
    held = HeapInUse() - before;
    cairo_destroy(cr);
    cairo_surface_destroy(surface);
  }
  state.SetItemsProcessed(int64_t(state.iterations()) * kOps);
  state.counters["heap_bytes_per_op"] = double(held) / kOps;
}
BENCHMARK(BM_RecordCairo)->Arg(0)->Arg(1);

const int kRatios[] = {
    orvel_bench::RegisterRatio("recording ops/s, layout / cairo, cubics", "BM_RecordLayout/0", "BM_RecordCairo/0",
                               orvel_bench::Rate::kItems, 10.0),
    orvel_bench::RegisterRatio("recording ops/s, layout / cairo, lines", "BM_RecordLayout/1", "BM_RecordCairo/1",
                               orvel_bench::Rate::kItems, 10.0),
};

}  // namespace

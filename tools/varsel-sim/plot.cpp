#include "plot.h"

#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <sstream>

#include "platform/virtual/event_record.h"

namespace sim {

namespace {

// Time slots across the run: more than a picture 1000 pixels wide can show.
constexpr size_t kSlots = 2000;

enum Source { kDelivered, kSwallowed, kAgent };
enum Axis { kVertical, kHorizontal };
const char* const kSourceNames[] = {"device", "device swallowed", "agent"};
const char* const kAxisNames[] = {"vertical", "horizontal"};

// Text in gnuplot's double quotes, on one line.
std::string quoted(const std::string& text) {
  std::string out = "\"";
  for (char c : text) {
    if (c == '\n' || c == '\r') c = ' ';
    if (c == '"' || c == '\\') out += '\\';
    out += c;
  }
  return out + "\"";
}

// Each kind of delta keeps its colour from picture to picture, as each area does by place.
const char* const kDeltaColours[3][2] = {
    {"#9a9a9a", "#cfcfcf"}, {"#d62728", "#ff9896"}, {"#1f4fb4", "#6fa8ff"}};
const char* const kAreaColours[] = {"#2ca02c", "#9467bd", "#8c564b", "#e377c2",
                                    "#17becf", "#bcbd22", "#ff7f0e"};

}  // namespace

void PlotData::Series::largest(size_t slot, double t, double v) {
  if (v == 0) return;  // no movement on this axis: nothing to draw, and no legend for it
  if (!slots[slot] || std::fabs(v) > std::fabs(slots[slot]->second)) slots[slot] = {{t, v}};
}

bool PlotData::Series::empty() const {
  for (const auto& s : slots) {
    if (s) return false;
  }
  return true;
}

std::string PlotData::Series::rows() const {
  std::ostringstream out;
  for (const auto& s : slots) {
    if (s) out << s->first << " " << s->second << "\n";
  }
  return out.str();
}

PlotData::PlotData(const Scenario& scenario, const std::vector<vsession::ContentScroll>& areas)
    : scenario_(scenario), seconds_(scenario.until > 0 ? scenario.until : 1) {
  std::map<std::pair<int32_t, int64_t>, int> perWindow;
  for (const auto& a : areas) ++perWindow[{a.pid, a.window}];
  for (const auto& a : areas) {
    AreaKey key{a.pid, a.window, a.area};
    areas_[key] = {areaName(scenario, key, perWindow[{a.pid, a.window}]), a.offset, newSeries(),
                   newSeries()};
  }
  for (auto& source : deltas_) {
    for (Series& axis : source) axis = newSeries();
  }
}

PlotData::Series PlotData::newSeries() const {
  Series s;
  s.slots.resize(kSlots);
  return s;
}

size_t PlotData::slotOf(double t) const {
  double slot = std::floor(t / seconds_ * kSlots);
  return slot < 0 ? 0 : std::min(kSlots - 1, static_cast<size_t>(slot));
}

void PlotData::line(const vsession::TraceLine& line) {
  now_ = line["t"].get<double>();
  const std::string& kind = line["kind"].get_ref<const std::string&>();
  if (kind == "scroll") {
    auto found = areas_.find(
        {line["pid"].get<int32_t>(), line["window"].get<int64_t>(), line["area"].get<int>()});
    if (found == areas_.end()) return;
    Area& area = found->second;
    double x = line["x"].get<double>(), y = line["y"].get<double>();
    area.movedX |= x != area.start.x;
    area.movedY |= y != area.start.y;
    area.x.last(slotOf(now_), now_, x);
    area.y.last(slotOf(now_), now_, y);
  } else if (kind == "deliver" && line["type"] == port::kCGEventScrollWheel) {
    bool agents = (line["user"].get<int64_t>() & 0xFFFF000F) == 0xA9FF0001;
    Series* source = deltas_[agents ? kAgent : kDelivered];
    source[kVertical].largest(slotOf(now_), now_, line["px1"].get<double>());
    source[kHorizontal].largest(slotOf(now_), now_, line["px2"].get<double>());
  }
}

void PlotData::swallowed(port::CGEventRef event) {
  if (event->type != port::kCGEventScrollWheel) return;
  Series* source = deltas_[kSwallowed];
  source[kVertical].largest(slotOf(now_), now_,
                            event->doubleFields[port::kCGScrollWheelEventPointDeltaAxis1]);
  source[kHorizontal].largest(slotOf(now_), now_,
                              event->doubleFields[port::kCGScrollWheelEventPointDeltaAxis2]);
}

std::string PlotData::script(bool png) const {
  std::ostringstream s;
  s << (png ? "set terminal png size 1100,700 background rgb 'white'\n"
            : "set terminal svg size 1100,700 dynamic background rgb 'white'\n");
  s << "set output\nset termoption noenhanced\n";

  // The offsets: a series for each axis that moved, starting where the area started.
  std::vector<std::string> offsets;
  int block = 0;
  for (const auto& [key, area] : areas_) {
    for (Axis axis : {kVertical, kHorizontal}) {
      bool moved = axis == kVertical ? area.movedY : area.movedX;
      if (!moved) continue;
      double start = axis == kVertical ? area.start.y : area.start.x;
      s << "$d" << block << " << EOD\n0 " << start << "\n"
        << (axis == kVertical ? area.y : area.x).rows() << "EOD\n";
      const char* colour = kAreaColours[offsets.size() % std::size(kAreaColours)];
      offsets.push_back("$d" + std::to_string(block++) + " using 1:2 with steps lw 2 lc rgb '" +
                        colour + "' title " + quoted(area.name + ", " + kAxisNames[axis]));
    }
  }
  std::vector<std::string> deltas;
  // The agent's own last, drawn over the devices'.
  for (Source source : {kDelivered, kSwallowed, kAgent}) {
    for (Axis axis : {kVertical, kHorizontal}) {
      const Series& series = deltas_[source][axis];
      if (series.empty()) continue;
      s << "$d" << block << " << EOD\n" << series.rows() << "EOD\n";
      deltas.push_back("$d" + std::to_string(block++) + " using 1:2 with impulses lw " +
                       (source == kAgent ? "2" : "1") + " lc rgb '" + kDeltaColours[source][axis] +
                       "' title " +
                       quoted(std::string(kSourceNames[source]) + ", " + kAxisNames[axis]));
    }
  }

  // Both panels share the time axis: the same fixed margins left and right of the plots.
  s << "set multiplot layout 2,1 title " << quoted(scenario_.name) << "\n";
  s << "set lmargin at screen 0.09\nset rmargin at screen 0.66\n";
  s << "set grid\nset key at screen 0.68, graph 1 left top Left reverse\nset xlabel 'seconds'\n";
  s << "set xrange [0:" << seconds_ << "]\n";
  auto panel = [&s](const char* label, const std::vector<std::string>& series, const char* none) {
    s << "set ylabel '" << label << "'\n";
    if (series.empty()) {
      // An empty panel: a line below its range, so the axes still show.
      s << "set label " << quoted(none) << " at graph 0.5, graph 0.5 center\n";
      s << "set yrange [0:1]\nplot -1 notitle\nunset label\nset yrange [*:*]\n";
      return;
    }
    const char* separator = "plot ";
    for (const std::string& one : series) {
      s << separator << one;
      separator = ", ";
    }
    s << "\n";
  };
  s << "set format y '%.0f'\n";
  panel("content offset (px)", offsets, "no content moved");
  s << "set format y '%g'\nset xzeroaxis lt -1\n";
  panel("scroll delta (px)", deltas, "no scroll events");
  s << "unset multiplot\n";
  return s.str();
}

bool gnuplotAvailable() {
  return std::system("gnuplot --version >/dev/null 2>&1") == 0;
}

bool drawPlot(const PlotData& data, bool png, std::FILE* out, std::string& error) {
  // The script and gnuplot's complaints go to files of their own: the picture alone comes
  // back through the pipe.
  char scriptPath[] = "/tmp/varsel-plot-XXXXXX";
  int fd = mkstemp(scriptPath);
  if (fd < 0) {
    error = "cannot make a temporary file for gnuplot";
    return false;
  }
  std::string script = data.script(png);
  bool written = ::write(fd, script.data(), script.size()) == static_cast<ssize_t>(script.size());
  ::close(fd);
  std::string errorsPath = std::string(scriptPath) + ".errors";
  FILE* gnuplot =
      written ? popen(("gnuplot " + std::string(scriptPath) + " 2>" + errorsPath).c_str(), "r")
              : nullptr;
  bool copied = true;
  if (gnuplot) {
    char buffer[65536];
    size_t n;
    while ((n = std::fread(buffer, 1, sizeof buffer, gnuplot)) > 0) {
      copied &= std::fwrite(buffer, 1, n, out) == n;
    }
  }
  int status = gnuplot ? pclose(gnuplot) : -1;
  // gnuplot repeats the line it stopped at and points at it; its reason comes last.
  std::string complaint;
  {
    std::ifstream errors(errorsPath);
    for (std::string line; std::getline(errors, line);) {
      if (line.find_first_not_of(" \t^") != std::string::npos) complaint = line;
    }
  }
  std::remove(scriptPath);
  std::remove(errorsPath.c_str());
  if (!gnuplot || status != 0) {
    bool missing = status != -1 && WIFEXITED(status) && WEXITSTATUS(status) == 127;
    error = missing ? "gnuplot is not installed; it draws the picture"
                    : "gnuplot could not draw the picture" +
                          (complaint.empty() ? "" : ": " + complaint);
    return false;
  }
  if (!copied || std::fflush(out) != 0) {
    error = std::string("cannot write the picture: ") + std::strerror(errno);
    return false;
  }
  return true;
}

}  // namespace sim

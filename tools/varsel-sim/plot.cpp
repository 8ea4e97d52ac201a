#include "plot.h"

#include <cstdio>
#include <map>
#include <sstream>
#include <tuple>

namespace sim {

namespace {
// Text in gnuplot's double quotes.
std::string quoted(const std::string& text) {
  std::string out = "\"";
  for (char c : text) {
    if (c == '"' || c == '\\') out += '\\';
    out += c;
  }
  return out + "\"";
}

struct Series {
  std::string name;
  std::ostringstream rows;
  double firstX = 0, firstY = 0;
  bool movedX = false, movedY = false;
};
}  // namespace

std::string plotScript(const std::vector<vsession::TraceLine>& trace, const std::string& title,
                       double seconds, const std::string& svgPath) {
  // One offset series per scroll area, in the order they first moved.
  std::map<std::tuple<int64_t, int64_t, int64_t>, size_t> areaIndex;
  std::vector<Series> areas;
  std::ostringstream own, devices;
  for (const auto& line : trace) {
    const std::string kind = line["kind"];
    double t = line["t"];
    if (kind == "scroll") {
      auto key = std::make_tuple(line["pid"].get<int64_t>(), line["window"].get<int64_t>(),
                                 line["area"].get<int64_t>());
      auto [it, fresh] = areaIndex.emplace(key, areas.size());
      double x = line["x"], y = line["y"];
      if (fresh) {
        areas.emplace_back();
        areas.back().name = "window " + std::to_string(std::get<1>(key)) + ", area " +
                            std::to_string(std::get<2>(key));
        areas.back().firstX = x;
        areas.back().firstY = y;
      }
      Series& area = areas[it->second];
      area.movedX |= x != area.firstX;
      area.movedY |= y != area.firstY;
      area.rows << t << " " << x << " " << y << "\n";
    } else if (kind == "deliver" && line["type"] == 22) {
      bool agents = (line["user"].get<int64_t>() & 0xFFFF000F) == 0xA9FF0001;
      (agents ? own : devices) << t << " " << line["px1"].get<double>() << " "
                               << line["px2"].get<double>() << "\n";
    }
  }

  std::ostringstream s;
  s << "set terminal svg size 1000,700 dynamic background rgb 'white'\n";
  s << "set output " << quoted(svgPath) << "\n";
  for (size_t i = 0; i < areas.size(); ++i) {
    s << "$area" << i << " << EOD\n" << areas[i].rows.str() << "EOD\n";
  }
  s << "$own << EOD\n" << own.str() << "0 NaN NaN\nEOD\n";
  s << "$devices << EOD\n" << devices.str() << "0 NaN NaN\nEOD\n";
  s << "set multiplot layout 2,1 title " << quoted(title) << "\n";
  s << "set grid\nset key outside right\nset xlabel 'seconds'\n";
  s << "set xrange [0:" << seconds << "]\n";
  s << "set ylabel 'content offset (px)'\n";
  if (areas.empty()) {
    s << "set label 'no content moved' at graph 0.5, graph 0.5 center\n";
    s << "plot NaN notitle\nunset label\n";
  } else {
    // A series for each axis that moved (the first offset seen may already be a move).
    const char* separator = "plot ";
    for (size_t i = 0; i < areas.size(); ++i) {
      if (areas[i].movedY || !areas[i].movedX) {
        s << separator << "$area" << i << " using 1:3 with steps lw 2 title "
          << quoted(areas[i].name + " vertical");
        separator = ", ";
      }
      if (areas[i].movedX) {
        s << separator << "$area" << i << " using 1:2 with steps lw 2 title "
          << quoted(areas[i].name + " horizontal");
        separator = ", ";
      }
    }
    s << "\n";
  }
  s << "set ylabel 'posted delta (px)'\n";
  s << "plot $own using 1:2 with impulses lw 2 title 'agent vertical', "
       "$own using 1:3 with impulses title 'agent horizontal', "
       "$devices using 1:2 with lines title 'device vertical', "
       "$devices using 1:3 with lines title 'device horizontal'\n";
  s << "unset multiplot\n";
  return s.str();
}

bool writePlot(const std::vector<vsession::TraceLine>& trace, const std::string& title,
               double seconds, const std::string& svgPath, std::string& error) {
  FILE* gnuplot = popen("gnuplot 2>&1", "w");
  if (!gnuplot) {
    error = "cannot start gnuplot, which draws the picture";
    return false;
  }
  std::string script = plotScript(trace, title, seconds, svgPath);
  std::fwrite(script.data(), 1, script.size(), gnuplot);
  int status = pclose(gnuplot);
  if (status != 0) {
    error = "gnuplot could not draw " + svgPath + " (is gnuplot installed?)";
    return false;
  }
  return true;
}

}  // namespace sim

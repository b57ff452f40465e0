#include "collector/replay_page.h"

#include <cstdio>
#include <sstream>

namespace obx::collector {
namespace {

std::string escapeHTML(const std::string& text) {
  std::string escaped;
  escaped.reserve(text.size());
  for (char c : text) {
    switch (c) {
      case '&': escaped += "&amp;"; break;
      case '<': escaped += "&lt;"; break;
      case '>': escaped += "&gt;"; break;
      case '"': escaped += "&quot;"; break;
      case '\'': escaped += "&#39;"; break;
      default: escaped += c;
    }
  }
  return escaped;
}

// JSON placed inside a <script> element must not close it.
std::string scriptJSON(const Json& value) {
  std::string text = value.dump(-1, ' ', false, Json::error_handler_t::replace);
  std::string safe;
  safe.reserve(text.size());
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] == '<' && i + 1 < text.size() && text[i + 1] == '/') {
      safe += "<\\/";
      ++i;
    } else {
      safe += text[i];
    }
  }
  return safe;
}

std::string text(const Json& object, const char* key) {
  if (!object.is_object()) return {};
  auto found = object.find(key);
  if (found == object.end()) return {};
  if (found->is_string()) return found->get<std::string>();
  return found->dump(-1, ' ', false, Json::error_handler_t::replace);
}

std::int64_t integer(const Json& object, const char* key) {
  if (!object.is_object()) return 0;
  auto found = object.find(key);
  if (found == object.end() || !found->is_number()) return 0;
  return found->get<std::int64_t>();
}

std::string number(const Json& object, const char* key) {
  if (!object.is_object()) return "?";
  auto found = object.find(key);
  if (found == object.end() || !found->is_number()) return "?";
  char buffer[32];
  std::snprintf(buffer, sizeof buffer, "%.1f", found->get<double>());
  return buffer;
}

std::string compact(const Json& value) {
  std::string dumped = value.dump(-1, ' ', false, Json::error_handler_t::replace);
  if (dumped.size() > 80) dumped = dumped.substr(0, 77) + "...";
  return dumped;
}

// The frames of a screen as its "images" events list them, in order.
Json framesOf(const ReplayScreen& screen) {
  Json frames = Json::array();
  if (!screen.events.is_array()) return frames;
  for (const Json& event : screen.events) {
    if (!event.is_object() || text(event, "t") != "images") continue;
    auto data = event.find("d");
    if (data == event.end() || !data->is_array()) continue;
    for (const Json& image : *data) {
      const std::int64_t index = integer(image, "sIndex");
      Json frame = Json::object();
      frame["src"] = screen.folderName + "/" + std::to_string(index) + ".jpg";
      frame["name"] = text(image, "sName");
      frame["index"] = index;
      frame["ms"] = std::max<std::int64_t>(1, integer(image, "sDuration"));
      frames.push_back(std::move(frame));
    }
  }
  return frames;
}

std::string screenName(const ReplayScreen& screen) {
  if (screen.events.is_array()) {
    for (const Json& event : screen.events) {
      if (event.is_object() && text(event, "t") == "screen") return text(event.value("d", Json::object()), "sN");
    }
  }
  return {};
}

const char* kStyle = R"(
body { font-family: sans-serif; margin: 1.5em; color: #222; background: #fafafa; }
h1 { font-size: 1.3em; } h2 { font-size: 1.1em; margin-bottom: 0.3em; }
section { background: #fff; border: 1px solid #ddd; border-radius: 6px; padding: 1em; margin-bottom: 1.5em; }
.screen { display: flex; gap: 1.5em; align-items: flex-start; }
.player { min-width: 220px; }
.player img { max-width: 320px; max-height: 560px; border: 1px solid #ccc; background: #eee; display: block; }
.player .info { font-size: 0.85em; color: #555; margin: 0.4em 0; }
table { border-collapse: collapse; font-size: 0.85em; }
td, th { border-bottom: 1px solid #eee; padding: 2px 8px; text-align: left; vertical-align: top; }
td.offset { text-align: right; font-variant-numeric: tabular-nums; }
tr.past { color: #999; }
ol.frames { font-size: 0.8em; color: #555; padding-left: 1.5em; }
)";

const char* kScript = R"(
const players = SCREENS.map((screen, n) => ({ screen, n, frame: 0, timer: null, onEnd: null }));
function element(n, part) { return document.getElementById('s' + n + '-' + part); }
function show(player) {
  const frames = player.screen.frames;
  if (frames.length === 0) return;
  const frame = frames[player.frame];
  element(player.n, 'img').src = frame.src;
  let start = 0;
  for (let i = 0; i < player.frame; i++) start += frames[i].ms;
  element(player.n, 'info').textContent =
      'frame ' + (player.frame + 1) + '/' + frames.length + ' · ' + frame.name + ' · ' + start + ' ms, shown ' + frame.ms + ' ms';
  document.querySelectorAll('#s' + player.n + '-events tr[data-offset]').forEach(row => {
    row.classList.toggle('past', Number(row.dataset.offset) < start);
  });
}
function stop(player) { if (player.timer) clearTimeout(player.timer); player.timer = null; }
function step(player) {
  show(player);
  const frames = player.screen.frames;
  player.timer = setTimeout(() => {
    if (player.frame + 1 < frames.length) { player.frame++; step(player); }
    else { player.timer = null; if (player.onEnd) { const next = player.onEnd; player.onEnd = null; next(); } }
  }, frames[player.frame].ms);
}
function play(n, onEnd) {
  const player = players[n];
  stop(player);
  player.frame = 0;
  player.onEnd = onEnd || null;
  if (player.screen.frames.length === 0) { if (onEnd) onEnd(); return; }
  step(player);
}
function playSession(from) {
  if (from >= players.length) return;
  element(from, 'img').scrollIntoView({ behavior: 'smooth', block: 'center' });
  play(from, () => playSession(from + 1));
}
players.forEach(show);
)";

}  // namespace

std::string ReplayPage::summary(const Json& event) {
  const std::string type = text(event, "t");
  const Json data = event.is_object() ? event.value("d", Json()) : Json();
  if (type == "session") return "session " + text(data, "sessionID") + ", lead " + text(data, "leadID");
  if (type == "screen") return "screen \"" + text(data, "sN") + "\" #" + text(data, "sI") + ", " + text(data, "o");
  if (type == "aM") {
    return "app " + text(data, "aV") + ", SDK " + text(data, "sV") + ", " + text(data, "d") + " " + text(data, "os") +
           ", " + text(data, "cT");
  }
  if ((type == "tB" || type == "tM" || type == "tE") && data.is_array() && !data.empty()) {
    const Json& first = data.front();
    return std::to_string(data.size()) + (data.size() == 1 ? " touch" : " touches") + " at (" + text(first, "x") +
           ", " + text(first, "y") + ")";
  }
  if (type == "scroll" && data.is_array()) {
    return std::to_string(data.size()) + " scroll record" + (data.size() == 1 ? "" : "s");
  }
  if (type == "form-meta") {
    std::string line = "form \"" + text(data, "h") + "\":";
    const Json fields = data.is_object() ? data.value("e", Json::array()) : Json::array();
    for (const Json& field : fields) line += " " + text(field, "t") + " " + text(field, "s") + ",";
    if (!fields.empty()) line.pop_back();
    return line;
  }
  if (type == "form-view") {
    return "form \"" + text(data, "h") + "\" " + (integer(data, "er") == 1 ? "failed" : "submitted");
  }
  if (type == "field-view") {
    if (integer(data, "er") == 1) return "field " + text(data, "s") + " in error: " + text(data, "erStr");
    std::string line = "field " + text(data, "s");
    if (integer(data, "co") == 1) line += " completed";
    if (integer(data, "ch") == 1) line += " changed";
    return line + ", " + text(data, "ti") + " ms interacting";
  }
  if (type == "goal") return "goal \"" + text(data, "conid") + "\" " + text(data, "conv") + " " + text(data, "conc");
  if (type == "dimension") return "dimension " + text(data, "name") + " = " + text(data, "value");
  if (type == "network") {
    return text(data, "method") + " " + text(data, "host") + " → " + text(data, "code") + " in " +
           text(data, "duration") + " ms";
  }
  if (type == "performance") {
    std::string line = "cpu " + number(data, "c") + ", memory " + number(data, "m") + ", battery " + number(data, "b");
    if (data.is_object() && data.contains("uS")) line += ", stressed: " + text(data, "uS");
    return line;
  }
  if (type == "images" && data.is_array()) return std::to_string(data.size()) + " frames";
  if (type == "aE") return "application end";
  if (type == "httperror" || type == "applicationError") return text(data, "error");
  if (type == "crash") return "crash: " + text(data, "desc");
  if (type == "idle") return "back after " + text(data, "iS") + " s in background";
  if (type == "placeholder") return data.is_boolean() && data.get<bool>() ? "placeholder shown" : "no placeholder";
  return compact(data);
}

std::string ReplayPage::render(const std::string& sessionID, const std::vector<ReplayScreen>& screens) {
  Json model = Json::array();
  for (const ReplayScreen& screen : screens) {
    Json entry = Json::object();
    entry["folder"] = screen.folderName;
    entry["frames"] = framesOf(screen);
    model.push_back(std::move(entry));
  }

  std::ostringstream page;
  page << "<!DOCTYPE html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">\n<title>Session "
       << escapeHTML(sessionID) << "</title>\n<style>" << kStyle << "</style>\n</head>\n<body>\n";
  page << "<h1>Session " << escapeHTML(sessionID) << "</h1>\n";
  page << "<p>" << screens.size() << (screens.size() == 1 ? " screen" : " screens")
       << ". <button onclick=\"playSession(0)\">Play the session</button></p>\n";

  for (std::size_t n = 0; n < screens.size(); ++n) {
    const ReplayScreen& screen = screens[n];
    const Json& frames = model[n]["frames"];
    const std::string name = screenName(screen);
    const std::string id = "s" + std::to_string(n);
    page << "<section id=\"" << id << "\">\n<h2>" << escapeHTML(screen.folderName);
    if (!name.empty()) page << " · " << escapeHTML(name);
    page << "</h2>\n<div class=\"screen\">\n<div class=\"player\">\n";
    if (frames.empty()) {
      page << "<p class=\"info\">No frames were recorded on this screen.</p>\n";
      page << "<img id=\"" << id << "-img\" alt=\"\" hidden>\n<div id=\"" << id << "-info\" class=\"info\"></div>\n";
    } else {
      page << "<img id=\"" << id << "-img\" src=\"" << escapeHTML(frames.front()["src"].get<std::string>())
           << "\" alt=\"frame of " << escapeHTML(screen.folderName) << "\">\n";
      page << "<div id=\"" << id << "-info\" class=\"info\"></div>\n";
      page << "<button onclick=\"play(" << n << ")\">Play</button> <button onclick=\"stop(players[" << n
           << "])\">Pause</button>\n<ol class=\"frames\">\n";
      for (const Json& frame : frames) {
        page << "<li>" << escapeHTML(frame["src"].get<std::string>()) << " (" << escapeHTML(frame["name"].get<std::string>())
             << "), " << frame["ms"].get<std::int64_t>() << " ms</li>\n";
      }
      page << "</ol>\n";
    }
    page << "</div>\n<table id=\"" << id << "-events\">\n<tr><th>offset (ms)</th><th>type</th><th>summary</th></tr>\n";
    if (screen.events.is_array()) {
      for (const Json& event : screen.events) {
        const std::int64_t offset = integer(event, "o");
        page << "<tr data-offset=\"" << offset << "\"><td class=\"offset\">" << offset << "</td><td>"
             << escapeHTML(text(event, "t")) << "</td><td>" << escapeHTML(summary(event)) << "</td></tr>\n";
      }
    }
    page << "</table>\n</div>\n</section>\n";
  }

  page << "<script>\nconst SCREENS = " << scriptJSON(model) << ";\n" << kScript << "</script>\n</body>\n</html>\n";
  return page.str();
}

}  // namespace obx::collector

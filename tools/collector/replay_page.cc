#include "collector/replay_page.h"

#include <algorithm>
#include <charconv>
#include <map>
#include <cstdio>
#include <optional>
#include <sstream>
#include <tuple>
#include <utility>

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

// JSON placed inside a <script> element must not close it nor open a comment: the characters of
// markup, which JSON only has inside strings, are written as escapes there.
std::string scriptJSON(const Json& value) {
  std::string text = value.dump(-1, ' ', false, Json::error_handler_t::replace);
  std::string safe;
  safe.reserve(text.size());
  for (char c : text) {
    switch (c) {
      case '<': safe += "\\u003c"; break;
      case '>': safe += "\\u003e"; break;
      case '&': safe += "\\u0026"; break;
      default: safe += c;
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

// The frames of a screen as its "images" events list them, in order, without their start yet.
Json framesOf(const ReplayScreen& screen, std::int64_t* imagesOffset) {
  Json frames = Json::array();
  *imagesOffset = 0;
  if (!screen.events.is_array()) return frames;
  for (const Json& event : screen.events) {
    if (!event.is_object() || text(event, "t") != "images") continue;
    auto data = event.find("d");
    if (data == event.end() || !data->is_array()) continue;
    *imagesOffset = std::max(*imagesOffset, integer(event, "o"));
    for (const Json& image : *data) {
      const std::int64_t index = integer(image, "sIndex");
      Json frame = Json::object();
      frame["src"] = screen.folderName + "/" + std::to_string(index) + ".jpg";
      frame["name"] = text(image, "sName");
      frame["index"] = index;
      frame["ms"] = std::max<std::int64_t>(1, integer(image, "sDuration"));
      frame["width"] = integer(image, "sWidth");
      frame["height"] = integer(image, "sHeight");
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

// The screen size "<width>x<height>" of the first "aM" event, in points.
std::optional<std::pair<std::int64_t, std::int64_t>> screenSizeOf(const ReplayScreen& screen) {
  if (!screen.events.is_array()) return std::nullopt;
  for (const Json& event : screen.events) {
    if (!event.is_object() || text(event, "t") != "aM") continue;
    const std::string size = text(event.value("d", Json::object()), "ss");
    const auto x = size.find('x');
    if (x == std::string::npos) return std::nullopt;
    const std::string width = size.substr(0, x);
    const std::string height = size.substr(x + 1);
    std::int64_t w = 0;
    std::int64_t h = 0;
    auto [wEnd, wError] = std::from_chars(width.data(), width.data() + width.size(), w);
    auto [hEnd, hError] = std::from_chars(height.data(), height.data() + height.size(), h);
    if (wError != std::errc() || hError != std::errc() || wEnd != width.data() + width.size() ||
        hEnd != height.data() + height.size() || w <= 0 || h <= 0) {
      return std::nullopt;
    }
    return std::make_pair(w, h);
  }
  return std::nullopt;
}

// The position in `frames` of the frame on display at `offset`: the last one started by then, the
// first one before any has started.
std::int64_t frameAt(const Json& frames, std::int64_t offset) {
  if (frames.empty()) return -1;
  std::int64_t shown = 0;
  for (std::size_t i = 0; i < frames.size(); ++i) {
    if (frames[i]["start"].get<std::int64_t>() <= offset) shown = static_cast<std::int64_t>(i);
  }
  return shown;
}

const char* kStyle = R"(
* { box-sizing: border-box; }
[hidden] { display: none !important; }
body { font-family: sans-serif; margin: 0; color: #222; background: #f4f4f6; }
header { padding: 0.8em 1.5em; background: #fff; border-bottom: 1px solid #ddd; }
h1 { font-size: 1.2em; margin: 0 0 0.2em; } h2 { font-size: 1em; margin: 0 0 0.5em; }
header p { margin: 0; color: #555; font-size: 0.9em; }
.layout { display: grid; grid-template-columns: 200px auto minmax(0, 1fr); gap: 1.2em; padding: 1em 1.5em; align-items: start; }
nav ol { list-style: none; padding: 0; margin: 0; }
nav button { width: 100%; text-align: left; margin-bottom: 4px; padding: 6px 8px; border: 1px solid #ccc; border-radius: 4px; background: #fff; cursor: pointer; font-size: 0.85em; }
nav button.current { border-color: #1565c0; background: #e3f0fd; }
nav button small { display: block; color: #666; }
.stage { background: #fff; border: 1px solid #ddd; border-radius: 6px; padding: 0.8em; position: sticky; top: 0.5em; }
#viewport { position: relative; height: min(72vh, 680px); aspect-ratio: 390 / 844; background: #fff; border: 1px solid #bbb; overflow: hidden; }
#frame { position: absolute; inset: 0; width: 100%; height: 100%; display: block; }
#empty { position: absolute; inset: 0; display: flex; align-items: center; justify-content: center; text-align: center; padding: 1em; color: #666; background: #f0f0f0; font-size: 0.9em; }
#touches { position: absolute; inset: 0; pointer-events: none; }
.dot { position: absolute; width: 24px; height: 24px; margin: -12px 0 0 -12px; border-radius: 50%; background: rgba(229, 30, 30, 0.85); border: 3px solid #fff; box-shadow: 0 0 0 1px rgba(0, 0, 0, 0.35); }
.dot.tM { width: 16px; height: 16px; margin: -8px 0 0 -8px; border-width: 2px; }
.dot.tE { background: transparent; border: 4px solid rgba(229, 30, 30, 0.85); box-shadow: none; }
.controls { margin-top: 0.6em; display: flex; gap: 0.4em; align-items: center; flex-wrap: wrap; font-size: 0.85em; }
.controls input[type=range] { flex: 1 1 100%; }
#clock { font-variant-numeric: tabular-nums; }
#info { font-size: 0.85em; color: #444; margin-top: 0.4em; min-height: 1.2em; }
section.screen { background: #fff; border: 1px solid #ddd; border-radius: 6px; padding: 0.8em; }
section.screen[hidden] { display: none; }
table { border-collapse: collapse; font-size: 0.85em; width: 100%; }
td, th { border-bottom: 1px solid #eee; padding: 2px 8px; text-align: left; vertical-align: top; }
td:last-child { overflow-wrap: anywhere; }
td.offset { text-align: right; font-variant-numeric: tabular-nums; white-space: nowrap; }
tr[data-offset] { cursor: pointer; }
tr.past { color: #999; }
tr.now { background: #fff4c2; color: #222; }
details { font-size: 0.8em; color: #555; margin-top: 0.6em; }
ol.frames li.shown { color: #1565c0; }
#log { font-size: 0.8em; color: #444; max-height: 16em; overflow: auto; }
)";

const char* kScript = R"(
const TOUCH_MS = 700, TICK_MS = 250;
const TOUCH_NAMES = { tB: 'touch began', tM: 'touch moved', tE: 'touch ended' };
const state = { n: -1, t: 0, playing: false, session: false, timer: null, frame: -2, dots: '' };
const $ = id => document.getElementById(id);
function clock(ms) {
  const s = Math.floor(ms / 1000), m = Math.floor(s / 60);
  return m + ':' + String(s % 60).padStart(2, '0') + '.' + String(Math.floor(ms % 1000 / 100));
}
function frameAt(screen, t) {
  let shown = screen.frames.length ? 0 : -1;
  screen.frames.forEach((frame, i) => { if (frame.start <= t) shown = i; });
  return shown;
}
function note(text, data) {
  const item = document.createElement('li');
  item.textContent = text;
  Object.entries(data).forEach(([key, value]) => { item.dataset[key] = value; });
  $('log').appendChild(item);
}
function selectScreen(n) {
  if (n === state.n) return;
  state.n = n;
  state.frame = -2;
  state.dots = '';
  const screen = SCREENS[n];
  document.querySelectorAll('section.screen').forEach((section, i) => { section.hidden = i !== n; });
  document.querySelectorAll('nav button').forEach((button, i) => button.classList.toggle('current', i === n));
  if (screen.width > 0 && screen.height > 0) $('viewport').style.aspectRatio = screen.width + ' / ' + screen.height;
  $('scrub').max = screen.duration;
  $('title').textContent = (n + 1) + '/' + SCREENS.length + ' · ' + (screen.name || screen.folder);
}
function render(previous) {
  const screen = SCREENS[state.n], t = state.t;
  const f = frameAt(screen, t);
  if (f !== state.frame) {
    state.frame = f;
    $('empty').hidden = f >= 0;
    $('frame').hidden = f < 0;
    if (f >= 0) {
      const frame = screen.frames[f];
      $('frame').src = frame.src;
      $('info').textContent = 'frame ' + (f + 1) + '/' + screen.frames.length + ' · ' + frame.name + ' · from ' +
          clock(frame.start) + ' for ' + frame.ms + ' ms' + (frame.missing ? ' · its file did not arrive' : '');
      const item = document.querySelector('#s' + state.n + ' ol.frames li[data-frame="' + f + '"]');
      if (item) item.classList.add('shown');
      if (state.playing) {
        note(clock(t) + ' ' + (screen.name || screen.folder) + ' · frame ' + (f + 1) + '/' + screen.frames.length +
             ' (' + frame.src + ')', { screen: state.n, frame: f, src: frame.src });
      }
    } else {
      $('info').textContent = '';
    }
  }
  const visible = screen.touches.filter(touch => touch.o <= t && t < touch.o + TOUCH_MS);
  const key = visible.map(touch => touch.o + touch.t + touch.x + ',' + touch.y).join('|');
  if (key !== state.dots) {
    state.dots = key;
    const layer = $('touches');
    layer.replaceChildren();
    if (screen.width > 0 && screen.height > 0) {
      visible.forEach(touch => {
        const dot = document.createElement('div');
        dot.className = 'dot ' + touch.t;
        dot.style.left = (100 * touch.x / screen.width) + '%';
        dot.style.top = (100 * touch.y / screen.height) + '%';
        dot.title = TOUCH_NAMES[touch.t] + ' at (' + touch.x + ', ' + touch.y + ')';
        layer.appendChild(dot);
      });
    }
  }
  if (state.playing) {
    screen.touches.filter(touch => touch.o <= t && touch.o > previous).forEach(touch => {
      note(clock(touch.o) + ' ' + (screen.name || screen.folder) + ' · ' + TOUCH_NAMES[touch.t] + ' at (' + touch.x +
           ', ' + touch.y + ') on frame ' + (touch.frame + 1),
           { screen: state.n, touch: touch.t, x: touch.x, y: touch.y, frame: touch.frame });
    });
  }
  document.querySelectorAll('#s' + state.n + ' tr[data-offset]').forEach(row => {
    const offset = Number(row.dataset.offset);
    row.classList.toggle('past', offset < t);
    row.classList.toggle('now', offset <= t && offset > t - TOUCH_MS);
  });
  $('scrub').value = t;
  $('clock').textContent = clock(t) + ' / ' + clock(screen.duration);
}
// The next moment after t at which the stage changes: a frame, a touch that appears or goes, a tick
// of the clock, or the screen's end.
function nextMoment(screen, t) {
  let next = Math.min(screen.duration, (Math.floor(t / TICK_MS) + 1) * TICK_MS);
  screen.frames.forEach(frame => { if (frame.start > t) next = Math.min(next, frame.start); });
  screen.touches.forEach(touch => {
    if (touch.o > t) next = Math.min(next, touch.o);
    if (touch.o + TOUCH_MS > t) next = Math.min(next, touch.o + TOUCH_MS);
  });
  return Math.max(next, t + 1);
}
function stopTimer() { if (state.timer) clearTimeout(state.timer); state.timer = null; }
function step() {
  const screen = SCREENS[state.n];
  if (state.t >= screen.duration) {
    if (state.session && state.n + 1 < SCREENS.length) {
      selectScreen(state.n + 1);
      state.t = 0;
      render(-1);
    } else {
      pause();
      document.body.dataset.state = 'ended';
      $('status').textContent = state.session ? 'The session was played to its end.' : 'The screen was played to its end.';
      return;
    }
  }
  const current = SCREENS[state.n];
  const next = Math.min(nextMoment(current, state.t), current.duration);
  state.timer = setTimeout(() => {
    const previous = state.t;
    state.t = next;
    render(previous);
    step();
  }, (next - state.t) / Number($('speed').value));
}
function start(session) {
  stopTimer();
  state.playing = true;
  state.session = session;
  document.body.dataset.state = 'playing';
  $('status').textContent = session ? 'Playing the session.' : 'Playing this screen.';
  state.frame = -2;
  render(state.t - 1);
  step();
}
function pause() {
  stopTimer();
  state.playing = false;
  document.body.dataset.state = 'paused';
  $('status').textContent = '';
}
function seek(n, t) {
  const wasPlaying = state.playing;
  stopTimer();
  selectScreen(n);
  state.t = Math.max(0, Math.min(t, SCREENS[n].duration));
  render(state.t);
  if (wasPlaying) step();
}
function playSession() { seek(0, 0); start(true); }
function playScreen() { if (state.t >= SCREENS[state.n].duration) state.t = 0; start(false); }
function setUp() {
  document.querySelectorAll('nav button').forEach((button, i) => button.addEventListener('click', () => { pause(); seek(i, 0); }));
  document.querySelectorAll('section.screen').forEach((section, n) => {
    section.querySelectorAll('tr[data-offset]').forEach(row => row.addEventListener('click', () => seek(n, Number(row.dataset.offset))));
  });
  $('scrub').addEventListener('input', () => seek(state.n, Number($('scrub').value)));
  if (SCREENS.length === 0) return;
  const hash = new URLSearchParams(location.hash.slice(1));
  if (hash.has('play')) {
    playSession();
  } else {
    const n = Math.max(0, Math.min(SCREENS.length - 1, Number(hash.get('s')) || 0));
    seek(n, Number(hash.get('t')) || 0);
  }
}
setUp();
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

Json ReplayPage::screenModel(const ReplayScreen& screen) {
  std::int64_t imagesOffset = 0;
  Json frames = framesOf(screen, &imagesOffset);
  std::int64_t total = 0;
  for (const Json& frame : frames) total += frame["ms"].get<std::int64_t>();
  std::int64_t start = imagesOffset >= total ? imagesOffset - total : 0;
  for (Json& frame : frames) {
    frame["start"] = start;
    start += frame["ms"].get<std::int64_t>();
  }

  std::int64_t duration = std::max<std::int64_t>(start, 1);
  Json touches = Json::array();
  if (screen.events.is_array()) {
    for (const Json& event : screen.events) {
      const std::int64_t offset = integer(event, "o");
      duration = std::max(duration, offset);
      const std::string type = text(event, "t");
      if (type != "tB" && type != "tM" && type != "tE") continue;
      auto data = event.find("d");
      if (data == event.end() || !data->is_array()) continue;
      for (const Json& record : *data) {
        Json touch = Json::object();
        touch["o"] = offset;
        touch["t"] = type;
        touch["x"] = integer(record, "x");
        touch["y"] = integer(record, "y");
        touch["frame"] = frameAt(frames, offset);
        touches.push_back(std::move(touch));
      }
    }
  }

  Json model = Json::object();
  model["folder"] = screen.folderName;
  model["name"] = screenName(screen);
  std::int64_t width = 0;
  std::int64_t height = 0;
  if (auto size = screenSizeOf(screen)) {
    std::tie(width, height) = *size;
  } else if (!frames.empty()) {
    width = frames.front()["width"].get<std::int64_t>();
    height = frames.front()["height"].get<std::int64_t>();
  }
  model["width"] = width;
  model["height"] = height;
  model["duration"] = duration;
  for (Json& frame : frames) {
    frame.erase("width");
    frame.erase("height");
  }
  model["frames"] = std::move(frames);
  model["touches"] = std::move(touches);
  return model;
}

std::string ReplayPage::render(const std::string& sessionID, const std::vector<ReplayScreen>& screens) {
  Json model = Json::array();
  std::int64_t totalDuration = 0;
  std::size_t totalFrames = 0;
  std::map<std::string, std::string> names;  // cScreenID -> name, from the upload with the "screen" event
  for (std::size_t n = 0; n < screens.size(); ++n) {
    const ReplayScreen& screen = screens[n];
    model.push_back(screenModel(screen));
    for (Json& frame : model.back()["frames"]) {
      const std::int64_t index = frame["index"].get<std::int64_t>();
      if (screen.imageFiles.count(index)) continue;
      frame["missing"] = true;
      for (std::size_t earlier = n; earlier-- > 0;) {
        if (screens[earlier].cScreenID == screen.cScreenID && screens[earlier].imageFiles.count(index)) {
          frame["src"] = screens[earlier].folderName + "/" + std::to_string(index) + ".jpg";
          frame.erase("missing");
          break;
        }
      }
    }
    totalDuration += model.back()["duration"].get<std::int64_t>();
    totalFrames += model.back()["frames"].size();
    // A screen longer than a batch may arrive in several uploads; only the first names it.
    const std::string name = model.back()["name"].get<std::string>();
    if (!name.empty()) {
      names.emplace(screen.cScreenID, name);
    } else if (auto known = names.find(screen.cScreenID); known != names.end()) {
      model.back()["name"] = known->second + ", continued";
    }
  }

  std::ostringstream page;
  page << "<!DOCTYPE html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">\n<title>Session "
       << escapeHTML(sessionID) << "</title>\n<style>" << kStyle << "</style>\n</head>\n<body data-state=\"paused\">\n";
  char seconds[32];
  std::snprintf(seconds, sizeof seconds, "%.1f", static_cast<double>(totalDuration) / 1000.0);
  page << "<header>\n<h1>Session " << escapeHTML(sessionID) << "</h1>\n<p>" << screens.size()
       << (screens.size() == 1 ? " screen" : " screens") << " · " << totalFrames << (totalFrames == 1 ? " frame" : " frames")
       << " · " << seconds << " s</p>\n</header>\n<div class=\"layout\">\n";

  page << "<nav>\n<ol>\n";
  for (std::size_t n = 0; n < screens.size(); ++n) {
    const Json& screen = model[n];
    const std::string name = screen["name"].get<std::string>();
    page << "<li><button type=\"button\">" << (n + 1) << ". " << escapeHTML(name.empty() ? screens[n].folderName : name)
         << "<small>" << screen["frames"].size() << (screen["frames"].size() == 1 ? " frame · " : " frames · ")
         << screen["duration"].get<std::int64_t>()
         << " ms</small></button></li>\n";
  }
  page << "</ol>\n</nav>\n";

  page << "<div class=\"stage\">\n<h2 id=\"title\"></h2>\n<div id=\"viewport\">\n<img id=\"frame\" alt=\"frame on display\">\n"
          "<div id=\"empty\" hidden>No frames were recorded on this screen.</div>\n<div id=\"touches\"></div>\n</div>\n"
          "<div id=\"info\"></div>\n<div class=\"controls\">\n"
          "<input id=\"scrub\" type=\"range\" min=\"0\" max=\"1\" value=\"0\" aria-label=\"time on the screen\">\n"
          "<button type=\"button\" onclick=\"playSession()\">Play the session</button>\n"
          "<button type=\"button\" onclick=\"playScreen()\">Play</button>\n"
          "<button type=\"button\" onclick=\"pause()\">Pause</button>\n"
          "<select id=\"speed\" aria-label=\"speed\"><option value=\"1\">1×</option><option value=\"2\">2×</option>"
          "<option value=\"4\">4×</option></select>\n<span id=\"clock\"></span>\n</div>\n<p id=\"status\" class=\"controls\"></p>\n"
          "<details><summary>Playback log</summary><ol id=\"log\"></ol></details>\n</div>\n";

  page << "<div class=\"timelines\">\n";
  for (std::size_t n = 0; n < screens.size(); ++n) {
    const ReplayScreen& screen = screens[n];
    const Json& frames = model[n]["frames"];
    const std::string name = model[n]["name"].get<std::string>();
    const std::string id = "s" + std::to_string(n);
    page << "<section class=\"screen\" id=\"" << id << "\"" << (n == 0 ? "" : " hidden") << ">\n<h2>"
         << escapeHTML(screen.folderName);
    if (!name.empty()) page << " · " << escapeHTML(name);
    page << "</h2>\n<table>\n<tr><th>offset (ms)</th><th>type</th><th>summary</th></tr>\n";
    if (screen.events.is_array()) {
      for (const Json& event : screen.events) {
        const std::int64_t offset = integer(event, "o");
        page << "<tr data-offset=\"" << offset << "\"><td class=\"offset\">" << offset << "</td><td>"
             << escapeHTML(text(event, "t")) << "</td><td>" << escapeHTML(summary(event)) << "</td></tr>\n";
      }
    }
    page << "</table>\n";
    if (frames.empty()) {
      page << "<details><summary>No frames were recorded on this screen.</summary></details>\n";
    } else {
      page << "<details><summary>" << frames.size() << (frames.size() == 1 ? " frame" : " frames")
           << "</summary>\n<ol class=\"frames\">\n";
      for (std::size_t f = 0; f < frames.size(); ++f) {
        const Json& frame = frames[f];
        page << "<li data-frame=\"" << f << "\">" << escapeHTML(frame["src"].get<std::string>()) << " ("
             << escapeHTML(frame["name"].get<std::string>()) << "), " << frame["ms"].get<std::int64_t>() << " ms, from "
             << frame["start"].get<std::int64_t>() << " ms" << (frame.contains("missing") ? ", its file did not arrive" : "")
             << "</li>\n";
      }
      page << "</ol>\n</details>\n";
    }
    page << "</section>\n";
  }
  page << "</div>\n</div>\n";

  page << "<script>\nconst SCREENS = " << scriptJSON(model) << ";\n" << kScript << "</script>\n</body>\n</html>\n";
  return page.str();
}

}  // namespace obx::collector

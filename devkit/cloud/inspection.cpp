#include "devkit/cloud/inspection.h"

#include "devkit/cloud/json_ptr.h"

namespace devkit::cloud {

std::string InspectJson(const Store& store, std::int64_t after, std::size_t limit) {
    JsonPtr entries(json_array());
    std::int64_t last = after;
    for (const Entry& entry : store.Entries(after, limit)) {
        JsonPtr detail = ParseJson(entry.detail);
        json_array_append_new(entries.get(),
                              json_pack("{s:I, s:I, s:s, s:s, s:o}", "seq",
                                        static_cast<json_int_t>(entry.seq), "time_ms",
                                        static_cast<json_int_t>(entry.timeMs), "kind",
                                        entry.kind.c_str(), "subject", entry.subject.c_str(),
                                        "detail", detail ? detail.release() : json_object()));
        last = entry.seq;
    }
    JsonPtr root(json_pack("{s:o, s:I}", "entries", entries.release(), "last_seq",
                           static_cast<json_int_t>(last)));
    return DumpJson(root.get());
}

const std::string& InspectPage() {
    static const std::string page = R"html(<!DOCTYPE html>
<html lang="en">
<head>
<meta charset="utf-8">
<title>Nexilo cloud emulator</title>
<style>
  body { font: 14px system-ui, sans-serif; margin: 1.5em; color: #222; }
  h1 { font-size: 1.3em; margin: 0 0 .3em; }
  #status { color: #666; margin-bottom: 1em; }
  #status.down { color: #b00; }
  #counts span { display: inline-block; margin-right: 1em; }
  table { border-collapse: collapse; width: 100%; margin-top: 1em; }
  th, td { text-align: left; vertical-align: top; padding: .3em .6em; border-bottom: 1px solid #ddd; }
  td.time { white-space: nowrap; font-variant-numeric: tabular-nums; color: #555; }
  td.kind { font-weight: bold; white-space: nowrap; }
  tr.ping td.kind, tr.event td.kind { color: #06c; }
  tr.push td.kind, tr.delivery td.kind { color: #080; }
  tr.rejected td.kind { color: #b00; }
  pre { margin: 0; white-space: pre-wrap; word-break: break-all; font-size: 12px; }
  details summary { cursor: pointer; color: #555; }
</style>
</head>
<body>
<h1>Nexilo cloud emulator</h1>
<div id="status">loading&hellip;</div>
<div id="counts"></div>
<table>
  <thead><tr><th>#</th><th>time</th><th>kind</th><th>what</th><th>detail</th></tr></thead>
  <tbody id="timeline"></tbody>
</table>
<script>
"use strict";
// Read-only: the page only reads /inspect, appending what is new every two seconds.
let last = 0;
const counts = {};
const body = document.getElementById("timeline");
const status = document.getElementById("status");

function cell(row, cls, text) {
  const td = row.insertCell();
  td.className = cls;
  td.textContent = text;
  return td;
}

function add(entry) {
  const row = body.insertRow();
  row.className = entry.kind;
  row.dataset.seq = entry.seq;
  cell(row, "seq", entry.seq);
  cell(row, "time", new Date(entry.time_ms).toISOString().replace("T", " ").replace("Z", ""));
  cell(row, "kind", entry.kind);
  cell(row, "subject", entry.subject);
  const details = document.createElement("details");
  const summary = document.createElement("summary");
  summary.textContent = "show";
  const pre = document.createElement("pre");
  pre.textContent = JSON.stringify(entry.detail, null, 2);
  details.append(summary, pre);
  row.insertCell().append(details);
  counts[entry.kind] = (counts[entry.kind] || 0) + 1;
}

function showCounts() {
  const box = document.getElementById("counts");
  box.replaceChildren();
  for (const kind of Object.keys(counts).sort()) {
    const span = document.createElement("span");
    span.id = "count-" + kind;
    span.textContent = kind + ": " + counts[kind];
    box.append(span);
  }
}

let busy = false;
async function refresh() {
  if (busy) return;
  busy = true;
  try {
    for (;;) {
      const reply = await fetch("/inspect?after=" + last);
      if (!reply.ok) throw new Error("HTTP " + reply.status);
      const page = await reply.json();
      page.entries.forEach(add);
      last = page.last_seq;
      if (page.entries.length === 0) break;
    }
    showCounts();
    status.className = "";
    status.textContent = "updated " + new Date().toLocaleTimeString() + ", " + last + " entries";
  } catch (error) {
    status.className = "down";
    status.textContent = "emulator not reachable (" + error.message + "); retrying";
  } finally {
    busy = false;
  }
}

refresh();
setInterval(refresh, 2000);
</script>
</body>
</html>
)html";
    return page;
}

} // namespace devkit::cloud

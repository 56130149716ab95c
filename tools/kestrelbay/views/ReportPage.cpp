#include "views/ReportPage.h"

#include <array>
#include <cstdio>
#include <string_view>

#include "console/DisplayText.h"
#include "views/Inventory.h"

namespace cli {
namespace {

// The hashes of the texts between <style> and </style>, and between <script> and </script>. A test computes
// them: after a change, its message has the new ones.
constexpr std::string_view kHead = R"html(<!DOCTYPE html>
<html lang="en">
<head>
<meta charset="utf-8">
<meta http-equiv="Content-Security-Policy" content="default-src 'none'; img-src data:; style-src 'sha256-HBrMYNxp9joMxLs1MkF9KZY6vNfxcd72OnR6/yAArNY='; script-src 'sha256-RlYpiuIYTPU7wqxwTDCxZhmFqOlS4EV3czbi4J3XcSE='">
<meta name="viewport" content="width=device-width, initial-scale=1">
<meta name="color-scheme" content="light dark">
<title>Installed applications</title>
<style>
:root {
  --ground: #f6f7f9; --sheet: #ffffff; --ink: #1c2430; --quiet: #5a6676; --line: #dde2e9; --accent: #1d5fbf;
  --hover: #eef3fb;
}
@media (prefers-color-scheme: dark) {
  :root {
    --ground: #14181e; --sheet: #1c222b; --ink: #e8ecf2; --quiet: #9dabbd; --line: #313a47; --accent: #7fb2ff;
    --hover: #242d39;
  }
}
* { box-sizing: border-box; }
html { scrollbar-gutter: stable; }
body { margin: 0; background: var(--ground); color: var(--ink);
  font: 15px/1.45 system-ui, "Segoe UI", "Noto Sans", sans-serif; }
main { max-width: 72rem; margin: 0 auto; padding: 2rem 1.25rem 4rem; }
header { display: flex; flex-wrap: wrap; gap: .75rem 1.5rem; align-items: baseline; margin-bottom: 1rem; }
h1 { font-size: 1.5rem; margin: 0; }
#count { color: var(--quiet); margin: 0; flex: 1; }
label { color: var(--quiet); }
input { font: inherit; color: inherit; background: var(--sheet); border: 1px solid var(--line);
  border-radius: 6px; padding: .4rem .7rem; width: 18rem; max-width: 100%; margin-left: .5rem; }
.sheet { background: var(--sheet); border: 1px solid var(--line); border-radius: 10px; overflow-x: auto; }
table { border-collapse: collapse; width: 100%; }
th, td { text-align: start; padding: .5rem .8rem; vertical-align: middle; }
td { border-top: 1px solid var(--line); }
tbody tr:hover { background: var(--hover); }
th { white-space: nowrap; color: var(--quiet); font-weight: 600; }
th button { all: unset; cursor: pointer; padding: .1rem .2rem; margin-inline-start: -.2rem; border-radius: 4px; }
th button::after { content: "\2195"; opacity: .35; padding-inline-start: .4rem; }
th[aria-sort="ascending"] button::after { content: "\2191"; opacity: 1; }
th[aria-sort="descending"] button::after { content: "\2193"; opacity: 1; }
th[aria-sort] button { color: var(--ink); }
:focus-visible, th button:focus-visible { outline: 2px solid var(--accent); outline-offset: 2px; }
.icon { width: 3.6rem; padding-inline-end: 0; }
.icon img, .icon span { display: block; width: 40px; height: 40px; object-fit: contain; }
.icon span::before { content: attr(data-letter); }
.icon span { border: 1px dashed var(--line); border-radius: 8px; color: var(--quiet); text-align: center;
  line-height: 38px; font-weight: 600; }
.name { font-weight: 600; min-width: 12rem; }
.version, .installed { font-variant-numeric: tabular-nums; white-space: nowrap; }
.location { color: var(--quiet); overflow-wrap: anywhere; min-width: 14rem; }
#none { padding: 1.5rem; margin: 0; color: var(--quiet); }
[hidden] { display: none !important; }
@media print { input, label { display: none; } .sheet { border: 0; } }
</style>
</head>
<body>
<main>
<header>
<h1>Installed applications</h1>
<p id="count" role="status">)html";

constexpr std::string_view kTableHead = R"html(</p>
<label for="search" hidden>Search<input id="search" type="search" autocomplete="off" aria-keyshortcuts="/"></label>
</header>
<div class="sheet">
<table>
<thead><tr><th class="icon" scope="col"><span hidden>Icon</span></th>)html";

constexpr std::string_view kFoot = R"html(</tbody>
</table>
<p id="none" hidden>Nothing matches. Press Escape to see all.</p>
</div>
</main>
<script>
"use strict";
const body = document.querySelector("tbody");
const rows = [...body.rows];
const heads = [...document.querySelectorAll("th")].slice(1);
const search = document.getElementById("search");
const count = document.getElementById("count");
const all = count.textContent;
const texts = rows.map((row) => row.textContent.toLocaleLowerCase());
const order = new Intl.Collator(undefined, { numeric: true, sensitivity: "base" });

function show() {
  const words = search.value.toLocaleLowerCase().split(/\s+/).filter(Boolean);
  let shown = 0;
  rows.forEach((row, at) => {
    row.hidden = !words.every((word) => texts[at].includes(word));
    if (!row.hidden) shown += 1;
  });
  count.textContent = words.length ? shown + " of " + all : all;
  document.getElementById("none").hidden = shown > 0 || rows.length === 0;
}

function sort(column) {
  const head = heads[column];
  const down = head.getAttribute("aria-sort") === "ascending";
  heads.forEach((other) => other.removeAttribute("aria-sort"));
  head.setAttribute("aria-sort", down ? "descending" : "ascending");
  const text = (row) => row.cells[column + 1].textContent;
  const sorted = [...rows].sort((a, b) => {
    // Unknown texts are last in both directions.
    if (!text(a) || !text(b)) return !text(a) - !text(b);
    return order.compare(text(a), text(b)) * (down ? -1 : 1);
  });
  body.append(...sorted);
}

heads.forEach((head, column) => {
  const button = document.createElement("button");
  button.textContent = head.textContent;
  button.type = "button";
  button.addEventListener("click", () => sort(column));
  head.replaceChildren(button);
});
heads[0].setAttribute("aria-sort", "ascending");
search.parentElement.hidden = false;
search.addEventListener("input", show);
search.addEventListener("keydown", (event) => {
  if (event.key !== "Escape") return;
  search.value = "";
  show();
});
document.addEventListener("keydown", (event) => {
  if (event.key !== "/" || event.target === search || event.ctrlKey || event.metaKey || event.altKey) return;
  event.preventDefault();
  search.focus();
});
</script>
</body>
</html>
)html";

/** A reference, which browsers resolve and terminals do not. Control characters have none, so they are
 * pictures. */
std::string Reference(char32_t code) {
  switch (code) {
    case '&':
      return "&amp;";
    case '<':
      return "&lt;";
    case '>':
      return "&gt;";
    case '"':
      return "&quot;";
    default:
      break;
  }
  if (!ActsOnTerminal(code) || code == '\n' || code == '\t') return {};
  if (code < 0xA0) {
    const char byte = static_cast<char>(code);
    return code < 0x80 ? Printable({&byte, 1}) : "\uFFFD";
  }
  std::array<char, sizeof "&#x0000;"> text{};
  std::snprintf(text.data(), text.size(), "&#x%04X;", static_cast<unsigned>(code) & 0xFFFF);
  return text.data();
}

std::string Escaped(std::string_view text) { return ReplaceCharacters(text, 1, Reference); }

/** Returns the first character of a text, which is UTF-8. */
std::string_view FirstCharacter(std::string_view text) {
  std::size_t bytes = text.empty() ? 0 : 1;
  while (bytes < text.size() && (static_cast<unsigned char>(text[bytes]) & 0xC0) == 0x80) ++bytes;
  return text.substr(0, bytes);
}

/** Shows the first character of the name in place of a missing picture, and the reason as its title. */
std::string IconCell(const ReportRow& row) {
  if (!row.picture.empty()) return "<img alt=\"\" src=\"" + row.picture + "\">";
  const std::string reason = row.iconPath.empty() ? "no icon" : "icon not shown: " + row.iconPath;
  return "<span aria-hidden=\"true\" title=\"" + Escaped(reason) + "\" data-letter=\"" +
         Escaped(FirstCharacter(row.name)) + "\"></span>";
}

/** Lets the browser break a long path after each backslash. */
std::string BrokenPath(std::string_view path) {
  std::string broken;
  for (const char c : Escaped(path)) {
    broken += c;
    if (c == '\\') broken += "<wbr>";
  }
  return broken;
}

std::string RowText(const ReportRow& row) {
  std::string text = "<tr><td class=\"icon\">" + IconCell(row) + "</td>";
  const std::array<std::pair<std::string_view, std::string>, 5> cells{
      {{"name", Escaped(row.name)},
       {"version", Escaped(row.version)},
       {"architecture", Escaped(row.architecture)},
       {"installed", Escaped(row.installed)},
       {"location", BrokenPath(row.location)}}};
  for (const auto& [kind, content] : cells) {
    text += "<td class=\"" + std::string(kind) + "\" dir=\"auto\">" + content + "</td>";
  }
  return text + "</tr>\n";
}

}  // namespace

std::string MakeReportPage(const std::vector<ReportRow>& rows) {
  std::string page(kHead);
  page += CountText(rows.size());
  page += kTableHead;
  for (const char* head : {"Name", "Version", "Architecture", "Installed", "Location"}) {
    page += "<th scope=\"col\">" + std::string(head) + "</th>";
  }
  page += "</tr></thead>\n<tbody>\n";
  for (const ReportRow& row : rows) page += RowText(row);
  page += kFoot;
  return page;
}

}  // namespace cli

#include "station/report/report_style.h"

namespace t1station {
namespace {

// The colours are those of the operator's page.
constexpr std::string_view kStyle = R"css(:root {
  --paper: #ffffff; --ink: #1b2430; --faint: #56626f; --line: #c3ccd5; --ground: #eef1f4; --accent: #0b4f9e;
  --passed: #00806a; --failed: #b3001b; --error: #ffc21a; --stopped: #20262c; --interrupted: #7a3fb0; --open: #a8afb7;
}
@page { size: A4; margin: 14mm 13mm }
* { box-sizing: border-box }
body {
  margin: 0 auto; padding: 8mm; max-width: 210mm; background: var(--paper); color: var(--ink);
  font: 10pt/1.4 "Noto Sans", "Noto Sans CJK SC", "Noto Sans SC", "Microsoft YaHei", "PingFang SC",
    "WenQuanYi Micro Hei", Arial, sans-serif;
  font-variant-numeric: tabular-nums lining-nums;
}
h1 { font-size: 1.6em; line-height: 1.2; margin: 0 }
h2 { font-size: 1.15em; margin: 1.6em 0 0.5em; padding-bottom: 0.15em; border-bottom: 2px solid var(--ink); break-after: avoid }
h3 { font-size: 1em; margin: 0; break-after: avoid; overflow-wrap: anywhere }
p { margin: 0.4em 0 }
a { color: var(--accent); text-decoration-thickness: 1px; text-underline-offset: 0.15em }
table { border-collapse: collapse; width: 100%; margin: 0.4em 0 }
th, td { padding: 0.25em 0.6em; text-align: left; vertical-align: top; border-bottom: 1px solid var(--line); overflow-wrap: break-word }
th { font-weight: 600; color: var(--faint); vertical-align: bottom }
.name { min-width: 6.5em }
.words { min-width: 14em; overflow-wrap: anywhere }
thead { display: table-header-group }
tr { break-inside: avoid }
.number { text-align: right }
td.number { white-space: nowrap }
.text { white-space: pre-wrap }
.nothing { color: var(--faint) }
.small, .note { font-size: 0.85em; color: var(--faint); overflow-wrap: anywhere }
.nowrap, time { white-space: nowrap }
.warning { font-weight: 600 }
td .warning { display: block; min-width: 9em }
.warning::before {
  content: "!"; display: inline-block; width: 1.3em; margin-right: 0.4em; border-radius: 3px; text-align: center;
  background: var(--error); color: #000000; font-weight: 700; print-color-adjust: exact; -webkit-print-color-adjust: exact
}

.verdict { white-space: nowrap; font-weight: 600 }
.verdict::before { content: ""; display: inline-block; width: 0.7em; height: 0.7em; margin-right: 0.4em; border-radius: 2px; background: var(--of) }
.verdict, .stack rect { --of: var(--open) }
.verdict.passed, .stack .passed { --of: var(--passed) }
.verdict.failed, .stack .failed { --of: var(--failed) }
.verdict.error, .stack .error { --of: var(--error) }
.verdict.stopped, .stack .stopped { --of: var(--stopped) }
.verdict.interrupted, .stack .interrupted { --of: var(--interrupted) }
.verdict.large { display: inline-block; font-size: 1.7em; line-height: 1.2; padding: 0.25em 0.6em; border: 3px solid var(--of); border-radius: 6px }
.verdict.large::before { display: none }

.title { display: flex; flex-wrap: wrap; justify-content: space-between; align-items: flex-start; gap: 0.6em 2em }
.tiles { display: grid; grid-template-columns: repeat(auto-fit, minmax(9em, 1fr)); gap: 0.6em; margin: 0.8em 0 }
.tile { border: 1px solid var(--line); border-radius: 6px; padding: 0.5em 0.8em; break-inside: avoid }
.tile b { display: block; font-size: 1.9em; line-height: 1.2; white-space: nowrap }
.tile .of { color: var(--faint) }
.halves { display: grid; grid-template-columns: repeat(auto-fit, minmax(85mm, 1fr)); gap: 0.8em }
.card { border: 1px solid var(--line); border-radius: 6px; padding: 0.6em 0.8em; break-inside: avoid; min-width: 0 }
.card table { margin: 0.2em 0 0 }
.card .facts td, .card .facts th { padding: 0.1em 0.6em 0.1em 0 }
.facts th { width: 11em; vertical-align: top; font-weight: 400 }
.pairs { display: grid; grid-template-columns: 1fr 1fr; gap: 0 1.5em; margin: 0.8em 0 }
.pairs > div { display: flex; gap: 0.6em; padding: 0.25em 0; border-bottom: 1px solid var(--line); break-inside: avoid }
.pairs .name { flex: 0 0 10.5em; color: var(--faint) }
.pairs .value { min-width: 0; overflow-wrap: anywhere }
.of-bar { width: 12% }

svg { display: block; width: 100%; print-color-adjust: exact; -webkit-print-color-adjust: exact }
.bar { height: 1.1em; min-width: 5em }
.stack { height: 1.6em; margin: 0.4em 0 }
.stack rect { fill: var(--of); stroke: var(--paper); stroke-width: 0.3 }
.track { fill: var(--ground) }
.part { fill: #4a7fb5 }
.mark { fill: var(--ink) }
.plot { max-width: 560px; margin: 0.3em 0 }
.plot text { font-size: 12px; fill: var(--faint) }
.plot .axis { stroke: var(--faint); stroke-width: 1 }
.plot .grid { stroke: var(--line); stroke-width: 0.6 }
.column { fill: #4a7fb5 }
.column.outside { fill: var(--failed) }
a:hover .column { fill: var(--ink) }
.limit { stroke: var(--failed); stroke-width: 1.8; stroke-dasharray: 6 3 }
.plot .limit-label { fill: var(--failed); font-weight: 600 }
.mean { stroke: var(--ink); stroke-width: 1.4 }
.together { fill: none; stroke: var(--ink); stroke-width: 1.4 }
.dot { fill: var(--ink) }

details { margin: 0.3em 0 }
summary { cursor: pointer }
pre { margin: 0.2em 0 0.6em; padding: 0.5em; background: var(--ground); white-space: pre-wrap; overflow-wrap: anywhere; font: 0.85em/1.4 "Noto Sans Mono CJK SC", "DejaVu Sans Mono", monospace }
.run + .run { break-before: page }

@media print, (max-width: 900px) {
  table { font-size: 0.85em }
  th, td { padding: 0.25em 0.35em }
  .bar { min-width: 3.5em }
  .words { min-width: 9em }
  .name { min-width: 5.5em }
  td .warning { min-width: 7em }
}
@media print {
  body { padding: 0; max-width: none }
  a { color: inherit; text-decoration: none }
  details:not([open]), .screen { display: none !important }
  .verdict::before, .tile, pre { print-color-adjust: exact; -webkit-print-color-adjust: exact }
}
)css";

}  // namespace

std::string_view report_style() {
  return kStyle;
}

}  // namespace t1station

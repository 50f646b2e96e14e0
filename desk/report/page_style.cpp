#include "desk/report/page_style.h"

namespace host {

const std::string_view page_style_sheet = R"(
:root { color-scheme: light dark;
  --ground: #f5f6f8; --paper: #fff; --ink: #1b2230; --soft: #566073; --line: #dde2ea; --shade: #eef1f5; --link: #1756b8;
  --green: #15713f; --blue: #1756b8; --red: #b3261e; --amber: #855300; --plum: #7b2d8e; --grey: #566073 }
@media (prefers-color-scheme: dark) { :root {
  --ground: #11141a; --paper: #191e26; --ink: #e6e9ef; --soft: #a3acbb; --line: #2e3541; --shade: #222833; --link: #84b6ff;
  --green: #5ccb93; --blue: #84b6ff; --red: #ff8a80; --amber: #e8b84b; --plum: #dd9cec; --grey: #a3acbb } }
.c { --hue: var(--green) } .r { --hue: var(--blue) } .x { --hue: var(--red) } .n { --hue: var(--grey) }
.a { --hue: var(--amber) } .f { --hue: var(--plum) } .u { --hue: var(--ink) }
* { box-sizing: border-box }
html { scroll-behavior: smooth; -webkit-text-size-adjust: 100% }
body { margin: 0; background: var(--ground); color: var(--ink); font: 16px/1.55 system-ui, -apple-system, "Segoe UI",
  Roboto, "Noto Sans", "Liberation Sans", sans-serif; font-variant-numeric: tabular-nums; overflow-wrap: anywhere }
header, main, footer { max-width: 76rem; margin: 0 auto; padding: 0 1.5rem }
header { display: flex; gap: 1rem; align-items: center; padding-top: 2.5rem; padding-bottom: 1.5rem }
header svg { width: 2.75rem; height: 2.75rem; flex: none; color: var(--link) }
h1 { font-size: 1.75rem; line-height: 1.2; font-weight: 650; letter-spacing: -.015em; margin: 0 }
h2 { font-size: 1.0625rem; font-weight: 650; margin: 0 0 1rem }
h3 { font-size: 1rem; font-weight: 600; margin: 0; display: inline }
p { margin: 0 0 .75rem }
header p, footer { color: var(--soft); margin: .25rem 0 0 }
main { display: grid; grid-template-columns: repeat(2, minmax(0, 1fr)); gap: 1.25rem }
section { background: var(--paper); border: 1px solid var(--line); border-radius: 14px; padding: 1.5rem; min-width: 0 }
section.wide { grid-column: 1 / -1 }
section.bare { background: none; border: 0; padding: .75rem 0 0 }
footer { font-size: .875rem; max-width: 76rem; margin: 0 auto; padding: 2rem 1.5rem 3rem }
a { color: var(--link) }
a:focus-visible, summary:focus-visible, input:focus-visible, iframe:focus-visible { outline: 3px solid var(--link);
  outline-offset: 2px; border-radius: 4px }
.unseen { position: absolute; width: 1px; height: 1px; margin: -1px; overflow: hidden; clip-path: inset(50%);
  white-space: nowrap }
.u { font-size: .75em; font-family: ui-monospace, monospace; border: 1px solid var(--line); border-radius: 4px;
  padding: 0 .25em; color: var(--soft); unicode-bidi: isolate; direction: ltr; white-space: nowrap }
.none, small, .what, .same, .note { color: var(--soft) }
.same { font-size: .8125rem; white-space: nowrap }
.same::before { content: "= " }

.lead { font-size: 1.375rem; line-height: 1.35; letter-spacing: -.01em; margin: 0 0 1.25rem }
.bar { display: block; width: 100%; height: 18px; clip-path: inset(0 round 9px) }
.bar rect, .chart rect { fill: var(--hue, var(--link)) }
.legend, .attachments, .notes { list-style: none; margin: 0; padding: 0 }
.legend { display: flex; flex-wrap: wrap; gap: .375rem 1.5rem; margin-top: .875rem }
.legend li::before { content: ""; display: inline-block; width: .75rem; height: .75rem; border-radius: 4px;
  background: var(--hue); margin-right: .5rem }
.legend + .remark { margin: 1.25rem 0 0 }
.facts { display: grid; grid-template-columns: repeat(auto-fit, minmax(7rem, 1fr)); gap: 1rem 1.5rem; margin: 1.5rem 0 0;
  padding-top: 1.25rem; border-top: 1px solid var(--line) }
.facts div { display: flex; flex-direction: column }
.facts dt { color: var(--soft); font-size: .875rem }
.facts dd { order: -1; margin: 0; font-size: 1.375rem; font-weight: 600; letter-spacing: -.01em }
.how { display: grid; grid-template-columns: minmax(6rem, max-content) minmax(0, 1fr); gap: .5rem 1.25rem; margin: 0 }
.how dt { color: var(--soft) }
.how dd { margin: 0 }
.chart { display: block; max-width: 100% }
.chart text { fill: currentColor; font-size: 13px }

.filter { border: 0; margin: 0 0 1rem; padding: 0; display: flex; flex-wrap: wrap; gap: .5rem }
.filter label { display: inline-flex; align-items: center; gap: .5rem; padding: .25rem .875rem .25rem .625rem;
  border: 1px solid var(--line); border-radius: 99px; cursor: pointer }
.filter label:has(:checked) { background: var(--shade); border-color: var(--soft) }
.filter input { margin: 0; accent-color: var(--link) }
main:has(#only-d:checked) .openings tbody tr:not(.d), main:has(#only-x:checked) .openings tbody tr:not(.x, .r),
main:has(#only-n:checked) .openings tbody tr:not(.n, .a, .f, .u) { display: none }
table { width: 100%; border-collapse: collapse; table-layout: fixed }
th, td { text-align: start; vertical-align: top; font-weight: 400; padding: .5rem .75rem .5rem 0; overflow: hidden;
  border-top: 1px solid var(--line) }
thead th { color: var(--soft); font-size: .875rem; border-top: 0 }
.openings { font-size: .9375rem; line-height: 1.45 }
.openings th:nth-child(1) { width: 21% } .openings th:nth-child(2) { width: 18% } .openings th:nth-child(3) { width: 20% }
.openings thead th:nth-child(5), .openings thead th:nth-child(6) { width: 4.5rem }
.openings td:nth-child(n+5), .openings thead th:nth-child(n+5) { text-align: end; padding-right: 0 }
.openings tbody b, .card summary b { display: inline-block; font-size: .8125rem; font-weight: 600; line-height: 1.5;
  color: var(--hue); background: color-mix(in srgb, var(--hue) 13%, transparent); border-radius: 99px; padding: 0 .625rem;
  white-space: nowrap }
.openings small { display: block; font-size: .8125rem }

.card { background: var(--paper); border: 1px solid var(--line); border-radius: 14px; margin-bottom: 1rem }
.card summary { padding: 1rem 1.5rem; cursor: pointer; border-radius: 14px }
.card summary h3 { margin-right: .5rem }
.card .what { margin-left: .25rem }
.card > div { padding: 0 1.5rem 1.25rem; scroll-margin-top: 5rem }
.remark { background: var(--shade); border-radius: 8px; padding: .625rem .875rem }
.pair > thead td, .pair tbody th { width: 7.5rem }
.pair > thead > tr > *, .pair > tbody > tr:first-child > * { border-top: 0 }
.pair td:last-child { padding-right: 0 }
.pair tbody th { color: var(--soft) }
.pair > thead th { font-weight: 600; color: var(--ink) }
iframe { display: block; width: 100%; height: 21rem; border: 1px solid var(--line); border-radius: 10px; resize: vertical;
  overflow: auto; margin-bottom: .25rem }
iframe.page { background: #fff; color-scheme: light }
iframe.text { background: var(--paper); height: 13rem }
.notes { font-size: .8125rem; color: var(--soft) }
.attachments li { padding: .125rem 0 }
.attachments b { font-size: .75rem; font-weight: 600; border: 1px solid; border-radius: 99px; padding: 0 .5rem;
  margin-left: .25rem; color: var(--soft); white-space: nowrap }
.attachments .taken > b:first-of-type, .threat { color: var(--red) }
.answer, .skipped { color: var(--soft); font-size: .8125rem }
.openings .answer, .answer { color: var(--amber) }
.threat, .openings .threat { color: var(--red); font-size: .8125rem; font-weight: 600 }
.attachments .taken > bdi { text-decoration: line-through }
.attachments .added > b:first-of-type, .attachments .changed > b:first-of-type { color: var(--blue) }

@media (max-width: 46rem) {
  header, main, footer { padding-left: 1rem; padding-right: 1rem }
  header { padding-top: 1.5rem }
  h1 { font-size: 1.375rem }
  main { grid-template-columns: minmax(0, 1fr) }
  section { padding: 1.125rem 1rem }
  section.bare { padding: .75rem 0 0 }
  .lead { font-size: 1.125rem }
  .how { grid-template-columns: minmax(0, 1fr); gap: 0 }
  .how dd { margin-bottom: .625rem }
  .openings thead { position: absolute; width: 1px; height: 1px; overflow: hidden; clip-path: inset(50%) }
  .openings, .openings tbody { display: block }
  .openings tr { display: grid; grid-template-columns: minmax(0, 1fr) minmax(0, 1fr); gap: .125rem .75rem; padding: .75rem 0;
    border-top: 1px solid var(--line) }
  .openings th, .openings td { border: 0; padding: 0; width: auto !important; text-align: start !important }
  .openings tbody th, .openings td:nth-child(-n+4) { grid-column: 1 / -1 }
  .openings td:nth-child(3)::before { content: "from "; color: var(--soft) }
  .openings td:nth-child(6) { text-align: end !important }
  .openings tbody th { font-weight: 600 }
  .card summary { padding: .875rem 1rem }
  .card > div { padding: 0 1rem 1rem }
  .pair > thead { position: absolute; width: 1px; height: 1px; overflow: hidden; clip-path: inset(50%) }
  .pair, .pair > tbody, .pair > tbody > tr, .pair > tbody > tr > * { display: block; width: auto }
  .pair > tbody > tr > * { padding: .25rem 0; border: 0 }
  .pair > tbody > tr { padding: .5rem 0; border-top: 1px solid var(--line) }
  .pair td:not([colspan]):nth-child(2)::before { content: "Before"; display: block; font-size: .8125rem; color: var(--soft) }
  .pair td:nth-child(3)::before { content: "After"; display: block; font-size: .8125rem; color: var(--soft) }
}
@media (prefers-reduced-motion: reduce) { html { scroll-behavior: auto } }
@media print {
  :root { --ground: #fff; --paper: #fff; --ink: #000; --soft: #444; --line: #bbb; --shade: #eee; --link: #000;
    --green: #15713f; --blue: #1756b8; --red: #b3261e; --amber: #855300; --plum: #7b2d8e; --grey: #444; color-scheme: light }
  body { font-size: 10pt; -webkit-print-color-adjust: exact; print-color-adjust: exact }
  header, main, footer { max-width: none; padding-left: 0; padding-right: 0 }
  .filter { display: none }
  .openings, .openings small { font-size: 8pt }
  section, .card { border-radius: 0; break-inside: auto }
  .openings tr, .attachments li, section { break-inside: avoid }
  section.wide { break-inside: auto }
  a { text-decoration: none }
  details::details-content { content-visibility: visible; display: block; height: auto; opacity: 1 }
  details > div { display: block !important }
}
)";

const std::string_view page_mark =
    "<svg xmlns=\"http://www.w3.org/2000/svg\" viewBox=\"0 0 44 44\" aria-hidden=\"true\"><path fill=\"currentColor\" "
    "d=\"M22 2 40 8v13c0 11-7.6 18.3-18 21C11.6 39.3 4 32 4 21V8z\"/><path fill=\"none\" stroke=\"#fff\" "
    "stroke-width=\"2.6\" stroke-linejoin=\"round\" stroke-linecap=\"round\" d=\"M12 15h20v14H12zm0 .5 10 8 "
    "10-8\"/></svg>";

} // namespace host

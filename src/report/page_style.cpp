#include "report/page_parts.h"

namespace report {

const char* const pageStyle = R"(
:root { color-scheme: light; }
* { box-sizing: border-box; }
body { margin: 0 auto; padding: 1rem; max-width: 80rem; color: #202020; background: #ffffff;
  font: 1rem/1.45 system-ui, sans-serif; overflow-wrap: break-word; }
h1 { font-size: 1.6rem; margin: 0.4em 0; }
h2 { font-size: 1.25rem; margin: 1.6em 0 0.4em; border-bottom: 1px solid #b0b0b0; }
h3 { font-size: 1.05rem; margin: 1.2em 0 0.3em; }
.warning { border: 2px solid #a04000; background: #fff4e5; padding: 0.6em 0.8em; margin: 0 0 1em; }
.about { color: #404040; margin: 0.2em 0; }
table { border-collapse: collapse; width: 100%; }
caption { text-align: left; color: #404040; padding: 0.3em 0; }
th, td { border: 1px solid #c0c0c0; padding: 0.35em 0.5em; text-align: left; vertical-align: top; }
th { background: #f2f2f2; font-weight: 600; }
td.number { font-variant-numeric: tabular-nums; white-space: nowrap; }
.wide { overflow-x: auto; }
.state { font-weight: 600; white-space: nowrap; }
.passed { color: #00563b; } .warned { color: #7a4300; } .failed { color: #a30000; }
.unknown { color: #4a4a4a; }
.figures { display: grid; grid-template-columns: repeat(auto-fill, minmax(min(27rem, 100%), 1fr)); gap: 1rem; }
.pair { display: grid; gap: 1rem; margin-bottom: 1rem; grid-template-columns: repeat(auto-fit, minmax(min(24rem, 100%), 1fr)); }
figure { margin: 0; border: 1px solid #dddddd; padding: 0.5rem; break-inside: avoid; }
figure svg { display: block; width: 100%; height: auto; font-family: system-ui, sans-serif; }
figcaption { font-size: 0.9rem; margin-top: 0.3em; }
.missing { color: #4a4a4a; padding: 1rem; }
dt { font-weight: 600; margin-top: 0.7em; } dd { margin: 0.1em 0 0 1.2em; }
.formula { font-family: "Cambria Math", "STIX Two Math", Georgia, serif; display: block; margin: 0.2em 0 0.2em 1em; }
@media (max-width: 45rem) {
  body { padding: 0.6rem; }
  table.stack, table.stack tbody, table.stack tr, table.stack td { display: block; width: 100%; }
  table.stack thead { display: none; }
  table.stack tr { border: 1px solid #b0b0b0; margin-bottom: 0.6rem; }
  table.stack td { border: 0; padding: 0.2em 0.5em; }
  table.stack td::before { content: attr(data-label) ": "; color: #4a4a4a; }
  table.stack td.state::before, table.stack td.what::before { content: none; }
  td.number { white-space: normal; }
}
@media print {
  body { max-width: none; padding: 0; font-size: 9.5pt; }
  h2, h3 { break-after: avoid; }
  tr { break-inside: avoid; }
  .figures, .pair { display: block; }
  figure { display: inline-block; width: 48.5%; margin: 0 0.5% 0.6rem; vertical-align: top; }
  .wide { overflow: visible; }
  td.number { white-space: normal; }
}
)";

} // namespace report

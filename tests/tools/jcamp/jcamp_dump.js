// Prints what jcampconverter (an independent JCAMP-DX reader) finds in one file, as JSON:
// {"blocks": [{"title": ..., "spectra": [{"x": [...], "y": [...]}, ...]}, ...]} or
// {"error": "..."}. Blocks without spectra (LINK and structure blocks) are left out.
// Usage: node jcamp_dump.js FILE
const fs = require("fs");
const { convert } = require("jcampconverter");

try {
  // jcampconverter takes labels only at the start of a line; some writers indent them.
  const text = fs.readFileSync(process.argv[2], "latin1").replace(/^[ \t]+##/gm, "##");
  const parsed = convert(text, { keepRecordsRegExp: /^$/ });
  const blocks = parsed.flatten
    .filter((entry) => entry.spectra && entry.spectra.length > 0)
    .map((entry) => ({
      title: entry.title,
      spectra: entry.spectra.map((s) => ({
        x: Array.from(s.data.x),
        y: Array.from(s.data.y),
      })),
    }));
  process.stdout.write(JSON.stringify({ blocks }));
} catch (e) {
  process.stdout.write(JSON.stringify({ error: String(e.message || e) }));
}

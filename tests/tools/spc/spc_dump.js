// Prints what spc-parser (an independent SPC reader) finds in one file, as JSON:
// {"spectra": [{"x": [...], "y": [...]}, ...]} or {"error": "..."}.
const fs = require("fs");
const { parse } = require("spc-parser");

try {
  const parsed = parse(fs.readFileSync(process.argv[2]));
  const spectra = parsed.spectra.map((s) => ({
    x: Array.from(s.variables.x.data),
    y: Array.from(s.variables.y.data),
  }));
  process.stdout.write(JSON.stringify({ spectra }));
} catch (e) {
  process.stdout.write(JSON.stringify({ error: String(e.message || e) }));
}

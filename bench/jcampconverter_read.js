// Reads JCAMP-DX files with npm jcampconverter and keeps every spectrum's x and y, as a
// reader into a table would; prints the seconds the reading took, without node's start.
// Usage: node jcampconverter_read.js FILE...
const fs = require("fs");
const { convert } = require("jcampconverter");

const start = process.hrtime.bigint();
let values = 0;
for (const file of process.argv.slice(2)) {
  for (const entry of convert(fs.readFileSync(file, "latin1")).flatten) {
    for (const s of entry.spectra || []) values += s.data.y.length;
  }
}
const seconds = Number(process.hrtime.bigint() - start) / 1e9;
console.log("values " + values);
console.log("seconds " + seconds.toFixed(4));

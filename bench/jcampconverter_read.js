// Reads JCAMP-DX files with npm jcampconverter and keeps every spectrum's x and y, as a
// reader into a table would. Usage: node jcampconverter_read.js FILE...
const fs = require("fs");
const { convert } = require("jcampconverter");

let values = 0;
for (const file of process.argv.slice(2)) {
  for (const entry of convert(fs.readFileSync(file, "latin1")).flatten) {
    for (const s of entry.spectra || []) values += s.data.y.length;
  }
}
console.log("values " + values);

// Reads an SPC file with npm spc-parser and touches every y value, as a reader into a
// table would; prints the seconds the reading took, without node's start.
// Usage: node spcparser_read.js FILE
const fs = require("fs");
const { parse } = require("spc-parser");

const start = process.hrtime.bigint();
const parsed = parse(fs.readFileSync(process.argv[2]));
let values = 0;
let sum = 0;
for (const s of parsed.spectra) {
  const y = s.variables.y.data;
  for (let i = 0; i < y.length; ++i) sum += y[i];
  values += y.length;
}
const seconds = Number(process.hrtime.bigint() - start) / 1e9;
console.log("values " + values + "  checksum " + sum);
console.log("seconds " + seconds.toFixed(4));

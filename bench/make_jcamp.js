// Writes the JCAMP-DX benchmark inputs with npm convert-to-jcamp: a LINK file of 500
// spectra x 4,000 points in DIF/DUP and in AFFN, and 500 single-spectrum DIF/DUP files.
// Usage: node make_jcamp.js OUT_DIR
const fs = require("fs");
const path = require("path");
const { fromJSON } = require("convert-to-jcamp");

const out = process.argv[2];
const blocks = 500;
const points = 4000;

function spectrum(k) {
  const x = new Array(points);
  const y = new Array(points);
  for (let i = 0; i < points; i++) {
    const t = 400 + (3600 * i) / (points - 1);
    x[i] = t;
    y[i] = Math.round(20000 * Math.exp(-(((t - 1000 - k) / 30) ** 2)) + 5000 * Math.sin(t / 97) + (i * k) % 13);
  }
  return { x, y };
}

for (const [encoding, suffix] of [["DIFDUP", "difdup"], ["FIX", "affn"]]) {
  const parts = ["##TITLE=benchmark\n##JCAMP-DX=5.01\n##DATA TYPE=LINK\n##BLOCKS=" + blocks + "\n"];
  for (let k = 0; k < blocks; k++) {
    const text = fromJSON(spectrum(k), { info: { title: "spectrum " + k, dataType: "INFRARED SPECTRUM" }, xyEncoding: encoding });
    parts.push(text.endsWith("\n") ? text : text + "\n");
    if (encoding === "DIFDUP")
      fs.writeFileSync(path.join(out, "single", "s" + String(k).padStart(3, "0") + ".jdx"), text);
  }
  parts.push("##END=\n");
  fs.writeFileSync(path.join(out, "link-" + suffix + ".jdx"), parts.join(""));
}

// Writes the JCAMP-DX fixtures of the reader's tests. The spectra are written by npm
// convert-to-jcamp in each of its encodings; the hostile files are spelled out here.
// Usage: NODE_PATH=.../node_modules node scripts/make_fixtures.js   (in tests/data/jcamp)
const fs = require("fs");
const { fromJSON } = require("convert-to-jcamp");

// A deterministic spectrum: two bands on a sloping baseline, with flat runs (which the
// DUP encoding repeats) and negative values.
function spectrum(n, first, last) {
  const x = [];
  const y = [];
  for (let i = 0; i < n; i++) {
    const t = first + ((last - first) * i) / (n - 1);
    const band = 9000 * Math.exp(-(((t - 1200) / 40) ** 2)) - 3000 * Math.exp(-(((t - 1700) / 25) ** 2));
    x.push(t);
    y.push(i % 50 < 8 ? 100 : Math.round(band + 0.5 * i));
  }
  return { x, y };
}

const data = spectrum(301, 1000, 2000);
const encodings = { FIX: "affn", PAC: "pac", SQZ: "sqz", DIF: "dif", DIFDUP: "difdup" };
for (const [encoding, suffix] of Object.entries(encodings)) {
  const text = fromJSON(data, {
    info: { title: `bands ${encoding}`, dataType: "INFRARED SPECTRUM", xUnits: "1/CM", yUnits: "ABSORBANCE" },
    xyEncoding: encoding,
  });
  fs.writeFileSync(`bands-${suffix}.jdx`, text);
}
fs.writeFileSync("bands.expected.tsv", data.x.map((x, i) => `${x}\t${data.y[i]}`).join("\n") + "\n");

// A LINK file holding two spectra of the writer, the second on a shorter axis.
const inner = [spectrum(301, 1000, 2000), spectrum(151, 1000, 2000)].map((d, i) =>
  fromJSON(d, { info: { title: `part ${i + 1}`, dataType: "INFRARED SPECTRUM" }, xyEncoding: "DIFDUP" }));
fs.writeFileSync(
  "link-two-axes.jdx",
  "##TITLE=two parts\n##JCAMP-DX=5.01\n##DATA TYPE=LINK\n##BLOCKS=2\n" + inner.join("\n") + "\n##END=\n",
);

// Hostile and odd files.
const header = (title, points) =>
  `##TITLE=${title}\n##JCAMP-DX=4.24\n##DATA TYPE=INFRARED SPECTRUM\n##FIRSTX=0\n##LASTX=9\n` +
  `##XFACTOR=1\n##YFACTOR=1\n##NPOINTS=${points}\n##XYDATA=(X++(Y..Y))\n`;
fs.writeFileSync("dup-2-31.jdx", header("huge repeat", 10) + "0 1 JT147483648\n##END=\n");
fs.writeFileSync("dup-count-near-limit.jdx", header("repeat", 10) + "0 1 2 3 4 5 6 7 8 9 J0T9999999\n##END=\n");
let nested = "";
for (let i = 0; i < 5000; i++) nested += `##TITLE=level ${i}\n##DATA TYPE=LINK\n##BLOCKS=1\n`;
fs.writeFileSync("endless-link.jdx", nested);
fs.writeFileSync("npoints-fraction.jdx", header("fraction", "10.5") + "0 1 2\n##END=\n");
fs.writeFileSync("npoints-zero.jdx", header("zero", "0") + "0 1 2\n##END=\n");
fs.writeFileSync("no-title.jdx", "##JCAMP-DX=4.24\n##TITLE=late\n##END=\n");
fs.writeFileSync(
  "mixed-classes.jdx",
  header("spectrum", 3) + "0 1 2 3\n##END=\n" +
  "##TITLE=peaks\n##DATA TYPE=MASS SPECTRUM\n##PEAK TABLE=(XY..XY)\n1,10 2,20\n##END=\n",
);
fs.writeFileSync("blocks-outside-link.jdx", "##TITLE=x\n##BLOCKS=3\n##END=\n");
fs.writeFileSync("binary.jdx", "##TITLE=x\n##BINARY=1\n##END=\n");
fs.writeFileSync("two-dups.jdx", header("two repeats", 3) + "0 5ST\n##END=\n");
fs.writeFileSync("dup-abscissa.jdx", header("repeat x", 3) + "0T 1 2 3\n##END=\n");
fs.writeFileSync("no-spacing.jdx", "##TITLE=x\n##XYDATA=(X++(Y..Y))\n0 1 2 3\n##END=\n");
fs.writeFileSync("illegal-character.jdx", header("bad", 3) + "0 1 2 3\n1 1 2 !3\n##END=\n");
fs.writeFileSync("y-check.jdx", header("y check", 6) + "0 10JJ\n3 12JJ\n5 16J\n##END=\n");
fs.writeFileSync("decimal-comma.jdx", header("comma", 3) + "0 1,5 2,25 3,125\n##END=\n");
fs.writeFileSync(
  "labels-vary.jdx",
  "##title= varied\n##JCAMP_DX= 5.01\n##Data-Type= INFRARED SPECTRUM\n##Data Class= XYDATA\n" +
  "##First X= 10\n##last_x= 20\n##N Points= 3\n##y/factor= 2\n##xy data= (X++(Y..Y))\n10 1 2 3\n##end=\n",
);
fs.writeFileSync("points-missing.jdx", "##TITLE=points\n##XYPOINTS=(XY..XY)\n1,10; 2,?; 3,1.5E1\n##END=\n");

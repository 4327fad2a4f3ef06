// Prints a workbook as SheetJS reads it, as JSON: each sheet's name, whether it is hidden
// or not a worksheet, and its cells by 0-based row and column with SheetJS's type and
// raw value (error cells give their code), its number format, and for numbers SheetJS's
// date of the serial in the workbook's date system ("y-m-d H:M:S").
// Usage: node sheetjs_dump.js FILE
const XLSX = require("xlsx");
let book;
try {
  book = XLSX.readFile(process.argv[2], { cellDates: false, cellNF: true, dense: false });
} catch (e) {
  console.log(JSON.stringify({ error: String(e) }));
  process.exit(0);
}
const flags = (book.Workbook && book.Workbook.Sheets) || [];
const date1904 = !!(book.Workbook && book.Workbook.WBProps && book.Workbook.WBProps.date1904);
const pad = (n, w) => String(n).padStart(w, "0");
function dateOf(value) {
  const d = XLSX.SSF.parse_date_code(value, { date1904 });
  if (!d) return "";
  return `${pad(d.y, 4)}-${pad(d.m, 2)}-${pad(d.d, 2)} ${pad(d.H, 2)}:${pad(d.M, 2)}:${pad(d.S, 2)}`;
}
const sheets = book.SheetNames.map((name, i) => {
  const sheet = book.Sheets[name] || {};
  const cells = [];
  for (const ref of Object.keys(sheet)) {
    if (ref[0] === "!") continue;
    const at = XLSX.utils.decode_cell(ref);
    const cell = sheet[ref];
    if (cell.t === "z" || cell.v === undefined) continue;
    cells.push([at.r, at.c, cell.t, cell.v, cell.z || "",
                cell.t === "n" && typeof cell.v === "number" ? dateOf(cell.v) : ""]);
  }
  return {
    name,
    hidden: flags[i] ? flags[i].Hidden || 0 : 0,
    type: sheet["!type"] || "sheet",
    cells,
  };
});
console.log(JSON.stringify({ date1904, sheets }));

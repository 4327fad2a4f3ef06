// Writes a small table as a 1-2-3 release 2 worksheet (.wk1) and as a release 3 file
// (.wk3) with SheetJS (npm "xlsx", pinned in bench/sheetjs). SheetJS writes a formula
// cell as its value. Usage: node make_sheetjs.js
const path = require("path");
const XLSX = require(path.join(__dirname, "../../../bench/sheetjs/node_modules/xlsx"));
const sheet = XLSX.utils.aoa_to_sheet([
  ["name", "value", "count"],
  ["alpha", 1.5, 3],
  ["beta", -2.25, 40000],
  ["gamma", 1e-7, -32768],
]);
// Formula cells with their results, as a spreadsheet program leaves them.
sheet["D1"] = { t: "s", v: "total" };
sheet["D2"] = { t: "n", f: "B2*C2", v: 4.5 };
sheet["D3"] = { t: "n", f: "B3*C3", v: -90000 };
sheet["D4"] = { t: "n", f: "C4/2", v: -16384 };
sheet["!ref"] = "A1:D4";
for (const type of ["wk1", "wk3"]) {
  const book = XLSX.utils.book_new();
  XLSX.utils.book_append_sheet(book, sheet, "Data");
  XLSX.writeFile(book, path.join(__dirname, `sheetjs.${type}`), { bookType: type });
}

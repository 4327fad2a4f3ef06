// Writes the same small table as BIFF2, BIFF3, BIFF4, BIFF5 and BIFF8 workbooks with
// SheetJS (npm "xlsx", pinned in bench/sheetjs). Usage: node make_sheetjs.js
const path = require("path");
const XLSX = require(path.join(__dirname, "../../../bench/sheetjs/node_modules/xlsx"));
const rows = [
  ["name", "value", "count"],
  ["alpha", 1.5, 3],
  ["beta", -2.25, 40000],
  ["gamma", 1e-7, 0],
];
for (const type of ["biff2", "biff3", "biff4", "biff5", "biff8"]) {
  const book = XLSX.utils.book_new();
  XLSX.utils.book_append_sheet(book, XLSX.utils.aoa_to_sheet(rows), "Data");
  XLSX.writeFile(book, path.join(__dirname, `sheetjs-${type}.xls`), { bookType: type });
}

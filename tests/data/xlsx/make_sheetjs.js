// Writes one small table with SheetJS (npm "xlsx", pinned in bench/sheetjs) three ways:
// .xlsx with a shared string table, .xlsx with the texts in the cells, and .xlsb (which
// SheetJS writes with the short cell records). Usage: node make_sheetjs.js
const path = require("path");
const XLSX = require(path.join(__dirname, "../../../bench/sheetjs/node_modules/xlsx"));
const sheet = XLSX.utils.aoa_to_sheet(
  [
    ["name", "value", "when", "ok"],
    ["alpha", 1.5, new Date(Date.UTC(2024, 2, 1)), true],
    ["caf\u00e9 \u65e5\u672c", -2.25, new Date(Date.UTC(2024, 2, 2, 12, 30)), false],
    ["line\r\nbreak", 1e20, null, null],
  ],
  { cellDates: true, dateNF: "yyyy-mm-dd" });
sheet["E2"] = { t: "e", v: 0x07 };  // #DIV/0!
sheet["E3"] = { t: "n", v: 7, f: "B2*2+4" };
sheet["!ref"] = "A1:E4";
const outputs = [
  ["sheetjs-shared.xlsx", { bookType: "xlsx", bookSST: true }],
  ["sheetjs-inline.xlsx", { bookType: "xlsx", bookSST: false }],
  ["sheetjs.xlsb", { bookType: "xlsb" }],
];
for (const [name, options] of outputs) {
  const book = XLSX.utils.book_new();
  XLSX.utils.book_append_sheet(book, sheet, "Data");
  XLSX.writeFile(book, path.join(__dirname, name), options);
}

// Writes the binary workbook (.xlsb) of the benchmark with SheetJS: the same table as
// bench/make_xlsx.py (numbers, a fifth of them texts from a small set, a date column).
// Usage: node make_xlsb.js OUT.xlsb [ROWS]
const XLSX = require("xlsx");
const rows = Number(process.argv[3] || 200000);
const names = ["alpha", "beta", "gamma", "delta", "epsilon", "zeta", "eta", "theta"];
const start = Date.UTC(2000, 0, 1);
const table = [Array.from({ length: 20 }, (_, c) => "col" + c)];
for (let r = 1; r < rows; ++r) {
  const row = [new Date(start + (r % 9000) * 86400000)];
  for (let c = 1; c < 20; ++c)
    row.push(c % 5 === 0 ? names[(r + c) % names.length] : r * 0.25 + c);
  table.push(row);
}
const sheet = XLSX.utils.aoa_to_sheet(table, { cellDates: true, dateNF: "yyyy-mm-dd" });
const book = XLSX.utils.book_new();
XLSX.utils.book_append_sheet(book, sheet, "data");
XLSX.writeFile(book, process.argv[2], { bookType: "xlsb", compression: true });

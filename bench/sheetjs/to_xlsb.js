// Writes a workbook again as a binary workbook (.xlsb) with SheetJS.
// Usage: node to_xlsb.js IN OUT.xlsb
const XLSX = require("xlsx");
const book = XLSX.readFile(process.argv[2]);
XLSX.writeFile(book, process.argv[3], { bookType: "xlsb" });

#!/usr/bin/python3
"""Writes the text-format fixtures: one small tab-delimited table per encoding, with
characters that decode right only in that encoding, plus the golden dump of each.

Run from anywhere: /usr/bin/python3 tests/data/text/make_fixtures.py
"""
import codecs
import csv
import io
import os

HERE = os.path.dirname(os.path.abspath(__file__))

# Rows shared by every fixture; the encoding-specific words are appended per file.
HEADER = ["Sample", "Value", "Note"]
NUMBERS = ["1.5", "-2", "3e3", "", "0.25", "7"]

WORDS = {
    # Western European: the C1 bytes of windows-1252 (quotes, euro, dash) are not in
    # ISO-8859-1, so the two files differ.
    "windows1252": ["Café", "Größe", "“quoted”", "5 €", "naïve – façade", "Ærø"],
    "iso88591": ["Café", "Größe", "±0.5 µm", "¼ und ½", "naïve façade", "Ærø"],
    "shiftjis": ["日本語", "表示", "ｶﾀｶﾅ", "東京都", "ソフト", "能力"],
    "gb18030": ["中文", "测试数据", "Straße", "北京市", "温度", "压力"],
    "koi8r": ["Привет", "Москва", "Ёлка", "температура", "давление", "образец"],
    "unicode": ["Größe", "Привет", "日本語", "中文", "Ελλάδα", "😀 ok"],
}

# Natural text after the table gives the encoding guess something to go on.
PROSE = {
    "windows1252": "Die Größe der Probe wurde am Montag gemessen; das Ergebnis: „gut“ – "
                   "Kosten 5 € pro Stück. Le café était très chaud à côté de la fenêtre.",
    "iso88591": "Die Größe der Probe wurde am Montag gemessen; das Ergebnis war gut. "
                "Le café était très chaud à côté de la fenêtre, déjà à ½ vide.",
    "shiftjis": "これは日本語のテストです。東京都の温度と圧力を測定しました。"
                "データは表示されます。結果はとても良いです。",
    "gb18030": "这是中文测试数据。我们在北京市测量了温度和压力。结果非常好，"
               "数据已经保存在文件中。",
    "koi8r": "Это тестовые данные. Мы измерили температуру и давление в Москве. "
             "Результаты очень хорошие, данные сохранены в файле.",
    "unicode": "Mixed text: Größe, Привет, 日本語, 中文, Ελλάδα.",
}

# name, Python codec, byte-order mark, line terminator, table words
FIXTURES = [
    ("utf8", "utf-8", b"", "\n", "unicode"),
    ("utf8-bom", "utf-8", codecs.BOM_UTF8, "\n", "unicode"),
    ("utf16le-bom", "utf-16-le", codecs.BOM_UTF16_LE, "\r\n", "unicode"),
    ("utf16be-bom", "utf-16-be", codecs.BOM_UTF16_BE, "\r\n", "unicode"),
    ("windows1252", "cp1252", b"", "\r\n", "windows1252"),
    ("iso88591", "latin-1", b"", "\n", "iso88591"),
    ("shiftjis", "shift_jis", b"", "\r\n", "shiftjis"),
    ("gb18030", "gb18030", b"", "\n", "gb18030"),
    ("koi8r", "koi8-r", b"", "\n", "koi8r"),
]


def table(words_key):
    rows = [HEADER]
    for word, number in zip(WORDS[words_key], NUMBERS):
        rows.append([word, number, word + " " + number if number else ""])
    for sentence in PROSE[words_key].split(". "):
        rows.append([sentence])
    return rows


def main():
    for name, codec, bom, terminator, words_key in FIXTURES:
        rows = table(words_key)
        text = io.StringIO()
        csv.writer(text, delimiter="\t", lineterminator=terminator,
                   quoting=csv.QUOTE_NONE).writerows(rows)
        with open(os.path.join(HERE, name + ".txt"), "wb") as out:
            out.write(bom + text.getvalue().encode(codec))
        # Golden dump: every cell as text, as the text reader delivers it. A delimiter
        # at the end of a line makes no cell, so a row's last empty cell is not there.
        dump = []
        for r, row in enumerate(rows, 1):
            if row and row[-1] == "":
                row = row[:-1]
            for c, cell in enumerate(row, 1):
                dump.append(f"{r}\t{c}\ttext\t{cell}\n")
        with open(os.path.join(HERE, name + ".expected.tsv"), "w", encoding="utf-8",
                  newline="\n") as out:
            out.write("".join(dump))


if __name__ == "__main__":
    main()

// SPDX-FileCopyrightText: 2026 The OndraVexa authors
// SPDX-License-Identifier: BSD-3-Clause

#include "webservice/loggable.h"

#include <QByteArray>
#include <QHash>
#include <QVector>

#include <algorithm>
#include <cctype>
#include <optional>
#include <string_view>
#include <unordered_set>
#include <utility>
#include <vector>

namespace {

constexpr int longestLogged = 1000;
/// What follows is not looked at, and not logged either.
constexpr int longestSearched = 32768;
/// Fewer characters of a key say little about the rest of it.
constexpr int pieceLength = 12;
/// How often a text may have been encoded.
constexpr int mostEncodings = 3;

/// A text as bytes, each with the characters of the text that stand for it.
struct Spelling
{
    QByteArray bytes;
    QVector<int> begins;
    QVector<int> ends;

    void append(const QByteArray &more, int begin, int end)
    {
        for (const char byte : more) {
            bytes.append(byte);
            begins.append(begin);
            ends.append(end);
        }
    }
};

/// 2 for a character beyond the basic multilingual plane.
int characterLength(const QString &text, int begin)
{
    return text.at(begin).isHighSurrogate() && begin + 1 < text.size()
            && text.at(begin + 1).isLowSurrogate()
        ? 2
        : 1;
}

/// What UTF-8 may have been taken for in between.
enum class Charset { Utf8, Windows1252 };

/// Nothing for a character that is no byte there. Where windows-1252 has a character of its own,
/// Latin-1 has a control code; both count.
QByteArray byteInWindows1252(QChar character)
{
    static const QString from0x80 = QString::fromUtf8("€\u0081‚ƒ„…†‡ˆ‰Š‹Œ\u008dŽ\u008f"
                                                      "\u0090‘’“”•–—˜™š›œ\u009džŸ");
    constexpr int firstOwn = 0x80;
    const auto own = from0x80.indexOf(character);
    const auto code = own < 0 ? character.unicode() : static_cast<ushort>(firstOwn + own);
    return code <= 0xff ? QByteArray(1, static_cast<char>(code)) : QByteArray();
}

Spelling spelling(const QString &text, Charset charset)
{
    Spelling spelling;
    for (int begin = 0; begin < text.size();) {
        const int length = characterLength(text, begin);
        const QString character = text.mid(begin, length);
        const QByteArray byte
            = charset == Charset::Windows1252 ? byteInWindows1252(character.at(0)) : QByteArray();
        spelling.append(byte.isEmpty() ? character.toUtf8() : byte, begin, begin + length);
        begin += length;
    }
    return spelling;
}

/// Nothing for what is not of digits alone; the library's own conversions take blanks and signs.
std::optional<uint> codeOf(const QByteArray &digits, int base)
{
    const auto isDigit = [base](char c) {
        return base == 16 ? std::isxdigit(static_cast<uchar>(c)) != 0 : c >= '0' && c <= '9';
    };
    bool ok = false;
    const uint code = digits.toUInt(&ok, base);
    if (!ok || !std::all_of(digits.cbegin(), digits.cend(), isDigit))
        return std::nullopt;
    return code;
}

/// What an escape stands for, and how many bytes it takes; 0 for none.
struct Escape
{
    QByteArray meaning;
    int length = 0;
};

Escape hexEscape(const QByteArray &bytes, int begin, int prefixLength)
{
    const QByteArray digits = bytes.mid(begin + prefixLength, 2);
    const auto code = codeOf(digits, 16);
    if (!code || digits.size() < 2)
        return {};
    return {QByteArray(1, static_cast<char>(*code)), prefixLength + 2};
}

/// Of JSON: one UTF-16 code unit, or the two of a surrogate pair.
Escape utf16Escape(const QByteArray &bytes, int begin)
{
    constexpr int digitCount = 4;
    QString units;
    int end = begin;
    while (units.size() < 2 && bytes.mid(end, 2) == "\\u") {
        const QByteArray digits = bytes.mid(end + 2, digitCount);
        const auto code = codeOf(digits, 16);
        if (!code || digits.size() < digitCount)
            break;
        const QChar unit(static_cast<ushort>(*code));
        units += unit;
        end += 2 + digitCount;
        if (!unit.isHighSurrogate())
            break;
    }
    return {units.toUtf8(), end - begin};
}

QByteArray utf8(uint code)
{
    if (!QChar::requiresSurrogates(code))
        return QString(QChar(static_cast<ushort>(code))).toUtf8();
    return (QString(QChar(QChar::highSurrogate(code))) + QChar(QChar::lowSurrogate(code))).toUtf8();
}

/// Of HTML.
Escape entity(const QByteArray &bytes, int begin)
{
    static const QHash<QByteArray, QByteArray> names{{"amp", "&"}, {"apos", "'"}, {"ast", "*"},
        {"bsol", "\\"}, {"colon", ":"}, {"comma", ","}, {"commat", "@"}, {"dollar", "$"},
        {"equals", "="}, {"excl", "!"}, {"grave", "`"}, {"gt", ">"}, {"hat", "^"}, {"lcub", "{"},
        {"lowbar", "_"}, {"lpar", "("}, {"lsqb", "["}, {"lt", "<"}, {"newline", "\n"}, {"num", "#"},
        {"percnt", "%"}, {"period", "."}, {"plus", "+"}, {"quest", "?"}, {"quot", "\""},
        {"rcub", "}"}, {"rpar", ")"}, {"rsqb", "]"}, {"semi", ";"}, {"sol", "/"}, {"tab", "\t"},
        {"vert", "|"}};
    constexpr int longestName = 12;
    const QByteArray next = bytes.mid(begin + 1, longestName + 1);
    const auto length = static_cast<int>(next.indexOf(';'));
    if (length < 0)
        return {};
    const QByteArray name = next.left(length).toLower();
    const auto code = name.startsWith("#x") ? codeOf(name.mid(2), 16) : codeOf(name.mid(1), 10);
    const bool isNumeric = name.startsWith('#') && code;
    const QByteArray meaning = isNumeric ? utf8(*code) : names.value(name);
    return {meaning, meaning.isEmpty() ? 0 : length + 2};
}

Escape backslashEscape(const QByteArray &bytes, int begin)
{
    const QByteArray next = bytes.mid(begin + 1, 1);
    if (next == "u")
        return utf16Escape(bytes, begin);
    if (next == "x")
        return hexEscape(bytes, begin, 2);
    static const QHash<QByteArray, QByteArray> characters{{"\"", "\""}, {"'", "'"}, {"/", "/"},
        {"\\", "\\"}, {"b", "\b"}, {"f", "\f"}, {"n", "\n"}, {"r", "\r"}, {"t", "\t"}};
    const QByteArray meaning = characters.value(next);
    return {meaning, meaning.isEmpty() ? 0 : 2};
}

Escape escapeAt(const QByteArray &bytes, int begin)
{
    switch (bytes.at(begin)) {
    case '+':
        return {" ", 1};
    case '%':
        return hexEscape(bytes, begin, 1);
    case '&':
        return entity(bytes, begin);
    case '\\':
        return backslashEscape(bytes, begin);
    default:
        return {};
    }
}

Spelling decodedOnce(const Spelling &encoded)
{
    Spelling decoded;
    for (int i = 0; i < encoded.bytes.size();) {
        const Escape escape = escapeAt(encoded.bytes, i);
        const int length = qMax(escape.length, 1);
        decoded.append(escape.length > 0 ? escape.meaning : encoded.bytes.mid(i, 1),
            encoded.begins.at(i), encoded.ends.at(i + length - 1));
        i += length;
    }
    return decoded;
}

/// A text as it is and decoded, once and again.
std::vector<Spelling> decodings(const Spelling &plain)
{
    std::vector<Spelling> decodings{plain};
    for (int i = 0; i < mostEncodings; ++i) {
        Spelling next = decodedOnce(decodings.back());
        if (next.bytes == decodings.back().bytes)
            break;
        decodings.push_back(std::move(next));
    }
    return decodings;
}

/// All pieces of a key in one of its spellings.
class KeyPieces
{
public:
    explicit KeyPieces(const QByteArray &key)
        : m_key(key.toLower()), m_length(qMin(static_cast<int>(m_key.size()), pieceLength))
    {
        for (int i = 0; m_length > 0 && i + m_length <= m_key.size(); ++i)
            m_pieces.emplace(m_key.constData() + i, m_length);
    }

    /// Marks the characters of the text in which a piece is spelt.
    void mark(std::vector<bool> &marks, const Spelling &text, const QByteArray &lowerText) const
    {
        for (int i = 0; m_length > 0 && i + m_length <= lowerText.size(); ++i) {
            if (m_pieces.count({lowerText.constData() + i, static_cast<size_t>(m_length)}) > 0)
                std::fill(marks.begin() + text.begins.at(i),
                    marks.begin() + text.ends.at(i + m_length - 1), true);
        }
    }

private:
    QByteArray m_key;
    int m_length;
    std::unordered_set<std::string_view> m_pieces;
};

QString masked(const QString &text, const QStringList &keys)
{
    std::vector<KeyPieces> allPieces;
    for (const QString &key : keys) {
        for (const Spelling &decodedKey : decodings(spelling(key, Charset::Utf8)))
            allPieces.emplace_back(decodedKey.bytes);
    }
    std::vector<bool> marks(static_cast<size_t>(text.size()), false);
    for (const Charset charset : {Charset::Utf8, Charset::Windows1252}) {
        for (const Spelling &decodedText : decodings(spelling(text, charset))) {
            const QByteArray lowerText = decodedText.bytes.toLower();
            for (const KeyPieces &pieces : allPieces)
                pieces.mark(marks, decodedText, lowerText);
        }
    }

    QString result;
    bool wasMarked = false;
    for (int i = 0; i < text.size(); ++i) {
        const bool isMarked = marks.at(static_cast<size_t>(i));
        if (!isMarked)
            result += text.at(i);
        else if (!wasMarked)
            result += QStringLiteral("***");
        wasMarked = isMarked;
    }
    return result;
}

QString printable(const QString &text)
{
    QString line;
    for (int begin = 0; begin < text.size();) {
        const int length = characterLength(text, begin);
        const QString character = text.mid(begin, length);
        // A separator of lines counts as printable.
        const bool isPrint = length == 2
            ? QChar::isPrint(QChar::surrogateToUcs4(character.at(0), character.at(1)))
            : character.at(0).isPrint() && !character.at(0).isSpace();
        line += isPrint ? character : QStringLiteral(" ");
        begin += length;
    }
    return line;
}

} // namespace

// Once more at the end, because what is logged as a blank may have been something else before.
QString loggable(const QString &error, const QStringList &keys)
{
    QStringList printableKeys;
    for (const QString &key : keys)
        printableKeys.append(printable(key));
    const QString line = printable(masked(error.left(longestSearched), keys)).left(longestLogged);
    QString maskedLine = masked(line, printableKeys).left(longestLogged);
    const bool isCut
        = !maskedLine.isEmpty() && maskedLine.at(maskedLine.size() - 1).isHighSurrogate();
    maskedLine.chop(isCut ? 1 : 0);
    return maskedLine;
}

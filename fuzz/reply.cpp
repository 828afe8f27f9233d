// SPDX-FileCopyrightText: 2026 The OndraVexa authors
// SPDX-License-Identifier: BSD-3-Clause

// What the web service answers. An input is the body of a reply or, when it ends in "!", an error:
// the API key in the first line, what the service says in the rest.

#include "fuzzing.h"
#include "positioning/location.h"
#include "webservice/loggable.h"

#include <QUrl>

#include <algorithm>
#include <cmath>

namespace {

constexpr int longestLine = 1000;
constexpr int pieceLength = 12;

void requireSecrecy(const QString &key, const QString &error)
{
    const QString line = loggable(error, {key});
    require(line.size() <= longestLine, "a line of the log has a bound");
    require(std::all_of(
                line.cbegin(), line.cend(), [](QChar c) { return c.isPrint() || c.isSurrogate(); }),
        "what a service says stays on one line");
    const QString decoded = QUrl::fromPercentEncoding(line.toUtf8());
    for (int i = 0; i + pieceLength <= key.size(); ++i) {
        const QString piece = key.mid(i, pieceLength);
        require(!line.contains(piece, Qt::CaseInsensitive)
                && !decoded.contains(piece, Qt::CaseInsensitive),
            "the log shows no piece of the key");
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QByteArray input = inputOf(data, size);
    if (input.endsWith('!')) {
        const QString text = QString::fromUtf8(input);
        const QString key = text.section(QLatin1Char('\n'), 0, 0);
        const QString encodedKey = QString::fromLatin1(QUrl::toPercentEncoding(key));
        // What stands right before the key could make an escape of its beginning.
        requireSecrecy(key,
            QStringList{text.section(QLatin1Char('\n'), 1), key, encodedKey}.join(
                QLatin1Char('\n')));
        return 0;
    }

    QString error;
    const auto location = findLocation(input, error);
    require(!location || error.isEmpty(), "a location or an error");
    for (const char *member : {"latitude", "longitude", "accuracy"}) {
        const auto number = findNumber(location.value_or(QJsonObject()), QLatin1String(member));
        require(!number || std::isfinite(*number), "numbers are finite");
    }
    return 0;
}

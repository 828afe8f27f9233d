// SPDX-FileCopyrightText: 2026 The OndraVexa authors
// SPDX-License-Identifier: BSD-3-Clause

// The cache file. An input is the file's contents.

#include "configuration/places.h"
#include "fuzzing.h"
#include "positioning/positionadaptor.h"
#include "privatemember.h"

#include <QFile>

#include <cstring>

REVEAL(State, &PositionAdaptor::state);
REVEAL(StartDelay, &PositionAdaptor::startDelayTimer);
REVEAL(WriteCache, &PositionAdaptor::writeCache);
REVEAL(ReadCache, &PositionAdaptor::readCache);

namespace {

constexpr int recordSize = 52;

// What a member of the record holds: big-endian, and zero unless all of its bytes are there.
template <typename Number>
Number stored(const QByteArray &file, int offset)
{
    quint64 value = 0;
    if (file.size() >= offset + int(sizeof(Number))) {
        for (const char byte : file.mid(offset, sizeof(Number)))
            value = value << 8 | static_cast<uchar>(byte);
    }
    Number number = 0;
    std::memcpy(&number, &value, sizeof number); // little-endian hosts only
    return number;
}

Position expected(const QByteArray &file)
{
    return {stored<qint32>(file, 0), stored<double>(file, 4), stored<double>(file, 12),
        stored<double>(file, 20), stored<qint32>(file, 28),
        {stored<qint32>(file, 32), stored<double>(file, 36), stored<double>(file, 44)}};
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int * /*argc*/, char *** /*argv*/)
{
    prepareProcess();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    static QObject provider;
    static PositionAdaptor &adaptor = *new PositionAdaptor(&provider);
    Position &position = (adaptor.*member(State()))->lastPosition;
    const QByteArray input(reinterpret_cast<const char *>(data), static_cast<int>(size));
    QFile file(QLatin1String(Places::sharedDirectory) + QLatin1String(".ondravexa-cache"));
    require(
        file.open(QIODevice::WriteOnly) && file.write(input) == input.size(), "room for a file");
    file.close();

    position = Position();
    (adaptor.*member(ReadCache()))();
    const Position read = position;
    require(bits(read) == bits(expected(input)), "what the file holds is read, the rest is zero");

    adaptor.setApiKey(QStringLiteral("key"));
    adaptor.startUpdates();
    require((adaptor.*member(StartDelay())).interval() >= 1000,
        "a first request after a second or more");
    require(read.timestamp < 0 || read.timestamp > 1700000000
            || (adaptor.*member(StartDelay())).interval() == 1000,
        "an old position does not delay the first request");
    adaptor.stopUpdates();

    (adaptor.*member(WriteCache()))();
    position = Position();
    (adaptor.*member(ReadCache()))();
    require(bits(position) == bits(read), "what is written is read");
    require(file.size() == recordSize, "the file has the size of the record");
    return 0;
}

// SPDX-FileCopyrightText: 2026 The OndraVexa authors
// SPDX-License-Identifier: BSD-3-Clause

// The cache file. An input is the file's contents.

#include "configuration/places.h"
#include "fuzzing.h"
#include "positioning/positionadaptor.h"
#include "privatemember.h"
#include "reportedposition.h"

#include <QFile>

REVEAL(State, &PositionAdaptor::state);
REVEAL(StartDelay, &PositionAdaptor::startDelayTimer);
REVEAL(WriteCache, &PositionAdaptor::writeCache);
REVEAL(ReadCache, &PositionAdaptor::readCache);

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
    require(file.open(QIODevice::ReadOnly)
            && file.readAll() == ReportedPosition::ofCache(input).cacheBytes(),
        "the file holds what was there, the rest is zero");
    return 0;
}

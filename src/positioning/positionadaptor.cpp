// SPDX-FileCopyrightText: 2026 The OndraVexa authors
// SPDX-License-Identifier: BSD-3-Clause

#include "positioning/positionadaptor.h"

#include "configuration/places.h"

PositionAdaptor::PositionAdaptor(QObject *provider)
    : QDBusAbstractAdaptor(provider), state(std::make_unique<PositionAdaptorState>()),
      cacheFilePath(QLatin1String(Places::sharedDirectory) + QLatin1String(".ondravexa-cache"))
{
    qRegisterMetaType<Position>("Position");
    readCache();
}

PositionAdaptor::~PositionAdaptor() = default;

void PositionAdaptor::updatePosition()
{
    const Position &position = state->lastPosition;
    if (position.fields != Position::FieldNone)
        Q_EMIT PositionChanged(position.fields, position.timestamp, position.latitude,
            position.longitude, position.altitude, position.accuracy);
}

void PositionAdaptor::republishPosition()
{
    updatePosition();
}

int PositionAdaptor::GetPosition(
    int &timestamp, double &latitude, double &longitude, double &altitude, Accuracy &accuracy)
{
    const Position &position = state->lastPosition;
    timestamp = position.timestamp;
    latitude = position.latitude;
    longitude = position.longitude;
    altitude = position.altitude;
    accuracy = position.accuracy;
    return position.fields;
}

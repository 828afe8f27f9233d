// SPDX-FileCopyrightText: 2026 The OndraVexa authors
// SPDX-License-Identifier: BSD-3-Clause

#include "walkdrawing.h"

namespace {

constexpr double legendHeight = 62;
constexpr double streetWidth = 12;
constexpr double scaleBarMetres = 100;

// A tenth of a metre is less than anyone sees.
QByteArray number(double value)
{
    return QByteArray::number(value, 'f', 1);
}

// The drawing's y axis points down, the city's to the north.
class Canvas
{
public:
    explicit Canvas(const QRectF &bounds) : m_height(bounds.bottom()) { }

    QByteArray place(const QPointF &point) const
    {
        return number(point.x()) + ',' + number(m_height - point.y());
    }
    QByteArray rectangle(const QRectF &area) const
    {
        return "<rect x=\"" + number(area.left()) + "\" y=\"" + number(m_height - area.bottom())
            + "\" width=\"" + number(area.width()) + "\" height=\"" + number(area.height())
            + "\" rx=\"2\"/>\n";
    }
    QByteArray circle(const QPointF &centre, double radius) const
    {
        return "<circle cx=\"" + number(centre.x()) + "\" cy=\"" + number(m_height - centre.y())
            + "\" r=\"" + number(radius) + "\"/>\n";
    }
    QByteArray line(const QPointF &from, const QPointF &to) const
    {
        return "<path d=\"M" + place(from) + " L" + place(to) + "\"/>\n";
    }
    QByteArray triangle(const QPointF &centre) const
    {
        return "<path d=\"M" + place(centre + QPointF(0, 8)) + " L"
            + place(centre + QPointF(-6.5, -4)) + " L" + place(centre + QPointF(6.5, -4))
            + " Z\"/>\n";
    }

private:
    double m_height;
};

QByteArray group(const QByteArray &style, const QByteArray &content)
{
    return "<g class=\"" + style + "\">\n" + content + "</g>\n";
}

const QByteArray styleSheet = R"(<style>
.ground { fill: #f3efe6 }
.park { fill: #d3e6c4 }
.buildings { fill: #e2dacb }
.streets { stroke: #ffffff; stroke-linecap: round }
.circles { fill: #d6452b; fill-opacity: .06; stroke: #d6452b; stroke-opacity: .35; stroke-width: .8 }
.way { fill: none; stroke: #2563a8; stroke-width: 3.5; stroke-linejoin: round; stroke-linecap: round }
.locked { stroke: #7a4fa3; stroke-dasharray: 1 8; stroke-width: 5 }
.offsets { stroke: #4d0f05; stroke-width: 1.4 }
.published { fill: #d6452b; stroke: #ffffff; stroke-width: 1 }
.points { fill: #c98a1b }
.masts { fill: #3f4a54; stroke: #ffffff; stroke-width: 1 }
.legend { fill: #ffffff }
.scale { stroke: #3f4a54; stroke-width: 1.5; fill: none }
text { font: 12px "DejaVu Sans", Verdana, sans-serif; fill: #3f4a54 }
</style>
)";

QByteArray text(double x, double y, const QByteArray &words)
{
    return "<text x=\"" + number(x) + "\" y=\"" + number(y) + "\">" + words + "</text>\n";
}

// The legend is drawn with the same marks as the picture, below it.
QByteArray legend(const QRectF &bounds)
{
    const Canvas canvas(QRectF(0, 0, 0, 0));
    const double first = bounds.height() + 24;
    const double second = bounds.height() + 46;
    QByteArray all = R"(<rect class="legend" y=")" + number(bounds.height()) + "\" width=\""
        + number(bounds.width()) + "\" height=\"" + number(legendHeight) + "\"/>\n";
    all += group("way", canvas.line({18, -first + 4}, {46, -first + 4}))
        + text(54, first, "way of the phone");
    all += group("way locked", canvas.line({18, -second + 4}, {46, -second + 4}))
        + text(54, second, "phone locked");
    all += group("circles", canvas.circle({196, -first + 4}, 9))
        + group("published", canvas.circle({196, -first + 4}, 3.5))
        + text(212, first, "published position, its accuracy");
    all += group("offsets", canvas.line({184, -second + 4}, {207, -second + 4}))
        + text(212, second, "how far it is off");
    all += group("points", canvas.circle({446, -first + 4}, 3)) + text(458, first, "access point");
    all += group("masts", canvas.triangle({446, -second + 4})) + text(458, second, "cell mast");
    const double right = bounds.width() - 18;
    all += R"(<path class="scale" d="M)" + number(right - scaleBarMetres) + ','
        + number(bounds.height() - 14) + " v5 h" + number(scaleBarMetres) + " v-5\"/>\n"
        + text(right - 70, bounds.height() - 14, "100 m");
    return all;
}

} // namespace

QByteArray WalkDrawing::svg() const
{
    const QRectF bounds = m_city.bounds();
    const QByteArray width = number(bounds.width());
    const QByteArray height = number(bounds.height() + legendHeight);
    return R"(<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 )" + width + ' ' + height
        + "\" width=\"" + number(1.5 * bounds.width())
        + "\">\n<title>A walk with the phone and what was published</title>\n" + styleSheet + town()
        + accuracies() + way(false) + way(true) + transmitters() + positions() + legend(bounds)
        + "</svg>\n";
}

QByteArray WalkDrawing::town() const
{
    const Canvas canvas(m_city.bounds());
    QByteArray streets;
    for (const QLineF &street : m_city.streets())
        streets += canvas.line(street.p1(), street.p2());
    QByteArray buildings;
    for (const QRectF &building : m_city.buildings())
        buildings += canvas.rectangle(building);
    return group("ground", canvas.rectangle(m_city.bounds()))
        + group("streets\" stroke-width=\"" + number(streetWidth), streets)
        + group("buildings", buildings) + group("park", canvas.rectangle(m_city.park()));
}

QByteArray WalkDrawing::way(bool locked) const
{
    const Canvas canvas(m_city.bounds());
    QByteArray path;
    bool drawing = false;
    for (const Step &step : m_steps) {
        if (step.locked == locked)
            path += (drawing ? " L" : " M") + canvas.place(step.point);
        else if (drawing)
            path += " L" + canvas.place(step.point);
        drawing = step.locked == locked;
    }
    return group(locked ? "way locked" : "way", "<path d=\"" + path + "\"/>\n");
}

QByteArray WalkDrawing::transmitters() const
{
    const Canvas canvas(m_city.bounds());
    QByteArray points;
    for (const City::AccessPoint &accessPoint : m_city.accessPoints())
        points += canvas.circle(accessPoint.place, 3);
    QByteArray masts;
    for (const City::Mast &mast : m_city.masts())
        masts += canvas.triangle(mast.place);
    return group("points", points) + group("masts", masts);
}

QByteArray WalkDrawing::accuracies() const
{
    const Canvas canvas(m_city.bounds());
    QByteArray circles;
    for (const Position &position : m_positions)
        circles += canvas.circle(position.published, position.accuracy);
    return group("circles", circles);
}

QByteArray WalkDrawing::positions() const
{
    const Canvas canvas(m_city.bounds());
    QByteArray offsets;
    QByteArray dots;
    for (const Position &position : m_positions) {
        offsets += canvas.line(position.published, position.truth);
        dots += canvas.circle(position.published, 3.5);
    }
    return group("offsets", offsets) + group("published", dots);
}

// SPDX-FileCopyrightText: 2026 The OndraVexa authors
// SPDX-License-Identifier: BSD-3-Clause

// The parts of a cycle, in one process with a position adaptor whose network is a stub.

#include "positioning/positionadaptor.h"

#include "dbus/accuracy.h"
#include "privatebus.h"
#include "radiopicture.h"
#include "simulatedphone.h"
#include "waiting.h"

#include <QCoreApplication>
#include <QDir>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QNetworkAccessManager>
#include <QNetworkReply>

#include <algorithm>
#include <benchmark/benchmark.h>
#include <ctime>
#include <functional>
#include <iterator>
#include <networkmanager.h>
#include <qofonoextcellwatcher.h>
#include <utility>
#include <vector>

namespace {

// An explicit instantiation may name private members: what is measured stays as it is.
template <typename Tag, typename Tag::Type Member>
struct Opened
{
    friend typename Tag::Type open(Tag) { return Member; }
};

template <typename Member>
struct Opening
{
    using Type = Member PositionAdaptor::*;
};

struct State : Opening<std::unique_ptr<PositionAdaptorState>>
{
    friend Type open(State);
};
struct SendRequest : Opening<void()>
{
    friend Type open(SendRequest);
};
struct CollectCells : Opening<void()>
{
    friend Type open(CollectCells);
};
struct CollectWlans : Opening<void()>
{
    friend Type open(CollectWlans);
};
struct UpdatePosition : Opening<void()>
{
    friend Type open(UpdatePosition);
};
struct ParseReply : Opening<QString(const QByteArray &, int)>
{
    friend Type open(ParseReply);
};
struct WriteCache : Opening<void() const>
{
    friend Type open(WriteCache);
};
template struct Opened<State, &PositionAdaptor::state>;
template struct Opened<SendRequest, &PositionAdaptor::sendRequest>;
template struct Opened<CollectCells, &PositionAdaptor::collectCells>;
template struct Opened<CollectWlans, &PositionAdaptor::collectWlans>;
template struct Opened<UpdatePosition, &PositionAdaptor::updatePosition>;
template struct Opened<ParseReply, &PositionAdaptor::parseReply>;
template struct Opened<WriteCache, &PositionAdaptor::writeCache>;

// Processor time of this thread, in nanoseconds: on a busy machine the clock on the wall says
// little.
double threadNs()
{
    timespec now{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) * 1e9 + static_cast<double>(now.tv_nsec);
}

// The samples of one benchmark, each perhaps with one of what it is compared with, taken right
// after it: the machine's speed changes from moment to moment. What reading the clock costs is
// taken off.
class Samples
{
public:
    explicit Samples(benchmark::State &state) : m_state(state) { }

    ~Samples()
    {
        m_state.counters["median_ns"] = median(m_ns);
        if (m_floorNs.empty())
            return;
        m_state.counters["floor_ns"] = median(m_floorNs);
        std::vector<double> ratios;
        std::transform(m_ns.cbegin(), m_ns.cend(), m_floorNs.cbegin(), std::back_inserter(ratios),
            std::divides<>());
        m_state.counters["ratio"] = median(ratios);
    }
    Q_DISABLE_COPY(Samples)

    void add(double beginNs, double endNs)
    {
        m_ns.push_back(std::max(1.0, endNs - beginNs - clockNs()));
        m_state.SetIterationTime(m_ns.back() / 1e9);
    }

    void addFloor(double beginNs, double endNs)
    {
        m_floorNs.push_back(std::max(1.0, endNs - beginNs - clockNs()));
    }

private:
    static double median(std::vector<double> values)
    {
        std::sort(values.begin(), values.end());
        return values.at(values.size() / 2);
    }

    static double clockNs()
    {
        static const double least = [] {
            double ns = 1e9;
            for (int i = 0; i < 1000; ++i) {
                const double begin = threadNs();
                ns = std::min(ns, threadNs() - begin);
            }
            return ns;
        }();
        return least;
    }

    benchmark::State &m_state;
    std::vector<double> m_ns;
    std::vector<double> m_floorNs;
};

class StubReply : public QNetworkReply
{
    Q_OBJECT

public:
    StubReply(const QNetworkRequest &request, QObject *parent) : QNetworkReply(parent)
    {
        setUrl(request.url());
        open(QIODevice::ReadOnly);
    }

    void finish(const QByteArray &body)
    {
        m_rest = body;
        setFinished(true);
        Q_EMIT finished();
    }

    void abort() override { }
    qint64 bytesAvailable() const override
    {
        return m_rest.size() + QNetworkReply::bytesAvailable();
    }

protected:
    qint64 readData(char *data, qint64 size) override
    {
        const int taken = static_cast<int>(qMin<qint64>(size, m_rest.size()));
        std::copy_n(m_rest.constData(), taken, data);
        m_rest.remove(0, taken);
        return taken;
    }

private:
    QByteArray m_rest;
};

class StubNetwork : public QNetworkAccessManager
{
    Q_OBJECT

public:
    double postedNs = 0;
    QByteArray body;
    StubReply *reply = nullptr;

protected:
    QNetworkReply *createRequest(
        Operation, const QNetworkRequest &request, QIODevice *data) override
    {
        postedNs = threadNs();
        body = data->readAll();
        reply = new StubReply(request, this);
        return reply;
    }
};

constexpr int fewEntries = 10;

// A position adaptor that sees a simulated phone.
class Bench
{
public:
    Bench()
    {
        QDir::setCurrent(m_directory.path());
        qputenv("DBUS_SYSTEM_BUS_ADDRESS", m_bus.address().toUtf8());
        registerAccuracy();
        m_phone = std::make_unique<SimulatedPhone>(m_bus.address());
        m_phone->start();
    }

    // Begins anew in view of so many entries.
    void see(int entries)
    {
        adaptor.reset();
        m_provider = std::make_unique<QObject>();
        adaptor = std::make_unique<PositionAdaptor>(m_provider.get());
        adaptor->setApiKey(QStringLiteral("key"));
        adaptor->setRequestFilter(false);
        auto &state = *(adaptor.get()->*open(State()));
        network = new StubNetwork;
        state.networkAccessManager.reset(network);
        QObject::connect(adaptor.get(), &PositionAdaptor::PositionAcquiring,
            [this] { understoodNs = threadNs(); });
        // Afterwards, as the bus library hears of each signal, too.
        QDBusConnection::systemBus().registerObject(
            QStringLiteral("/bench"), m_provider.get(), QDBusConnection::ExportAdaptors);

        showEntries(*m_phone, entries);
        const bool seen = waitUntil(
            [&] {
                return state.cellWatcher->cells().size() == entries / 2
                    && state.networkManager->getAvailableServices(QStringLiteral("wifi")).size()
                    == entries / 2;
            },
            std::chrono::seconds(60));
        if (!seen)
            qFatal("The picture of %d entries has not arrived", entries);
    }

    void sendRequest() const { (adaptor.get()->*open(SendRequest()))(); }

private:
    ScratchDirectory m_directory;
    PrivateBus m_bus;
    std::unique_ptr<SimulatedPhone> m_phone;
    std::unique_ptr<QObject> m_provider;

public:
    std::unique_ptr<PositionAdaptor> adaptor;
    StubNetwork *network = nullptr;
    double understoodNs = 0;
};

Bench &bench()
{
    static Bench only;
    return only;
}

// From the tick to the body and the network request, all but the posting, beside the JSON writer
// alone on the same document.
void buildRequest(benchmark::State &state)
{
    bench().see(static_cast<int>(state.range(0)));
    Samples samples(state);
    for ([[maybe_unused]] auto _ : state) {
        double begin = threadNs();
        bench().sendRequest();
        samples.add(begin, bench().network->postedNs);
        delete std::exchange(bench().network->reply, nullptr);

        const QJsonDocument document = QJsonDocument::fromJson(bench().network->body);
        begin = threadNs();
        benchmark::DoNotOptimize(document.toJson());
        samples.addFloor(begin, threadNs());
    }
}

template <typename Operation>
void runOperation(benchmark::State &state)
{
    bench().see(static_cast<int>(std::max<int64_t>(state.range(0), fewEntries)));
    Samples samples(state);
    for ([[maybe_unused]] auto _ : state) {
        const double begin = threadNs();
        (bench().adaptor.get()->*open(Operation()))();
        samples.add(begin, threadNs());
    }
}

// A position, and so many entries that are of no use to the daemon.
QByteArray replyWith(int64_t entries)
{
    const QJsonObject location{{QStringLiteral("latitude"), 55.7512345},
        {QStringLiteral("longitude"), 37.6112345}, {QStringLiteral("accuracy"), 120.5}};
    QJsonArray rest;
    for (int64_t entry = 0; entry < entries; ++entry)
        rest.append(QJsonObject{{QStringLiteral("macAddress"), QStringLiteral("02:00:5e:10:00:00")},
            {QStringLiteral("signalStrengthDBm"), -60}});
    QJsonObject root{{QStringLiteral("location"), location}};
    if (entries > 0)
        root.insert(QStringLiteral("seen"), rest);
    return QJsonDocument(root).toJson();
}

// From the reply's body to the position understood, beside the JSON parser alone on the same body;
// the cache and the bus come afterwards.
void handleReply(benchmark::State &state)
{
    const QByteArray reply = replyWith(state.range(0));
    bench().see(fewEntries);
    Samples samples(state);
    for ([[maybe_unused]] auto _ : state) {
        // Both find the processor's caches as handling a reply leaves them.
        (bench().adaptor.get()->*open(ParseReply()))(reply, 0);
        double begin = threadNs();
        (bench().adaptor.get()->*open(ParseReply()))(reply, 0);
        samples.add(begin, bench().understoodNs);

        begin = threadNs();
        benchmark::DoNotOptimize(QJsonDocument::fromJson(reply));
        samples.addFloor(begin, threadNs());
    }
}

// From the network layer's word that the reply is complete to the position understood.
void finishReply(benchmark::State &state)
{
    const QByteArray reply = replyWith(0);
    bench().see(fewEntries);
    Samples samples(state);
    for ([[maybe_unused]] auto _ : state) {
        bench().sendRequest();
        StubReply *pending = std::exchange(bench().network->reply, nullptr);
        const double begin = threadNs();
        pending->finish(reply);
        samples.add(begin, bench().understoodNs);
        delete pending;
    }
}

void registerBenchmarks()
{
    using benchmark::RegisterBenchmark;
    const auto sizes = [](benchmark::internal::Benchmark *each) {
        each->RangeMultiplier(10)->Range(10, 10000)->UseManualTime()->Unit(benchmark::kMicrosecond);
    };
    sizes(RegisterBenchmark("build request", buildRequest));
    sizes(RegisterBenchmark("collect cells", runOperation<CollectCells>));
    sizes(RegisterBenchmark("collect WLANs", runOperation<CollectWlans>));
    sizes(RegisterBenchmark("handle reply", handleReply)->Arg(0));
    for (const auto &[name, operation] : {std::pair{"finish reply", &finishReply},
             std::pair{"write cache", &runOperation<WriteCache>},
             std::pair{"emit signal", &runOperation<UpdatePosition>}})
        RegisterBenchmark(name, operation)->Arg(0)->UseManualTime()->Unit(benchmark::kMicrosecond);
}

} // namespace

int main(int argc, char *argv[])
{
    QCoreApplication application(argc, argv);
    QCoreApplication::setLibraryPaths({});
    benchmark::Initialize(&argc, argv);
    registerBenchmarks();
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}

#include "cycleparts.moc"

#include "TestNetwork.h"

#include <QHash>
#include <QSet>

#include <vector>

TestNetwork::TestNetwork(const QString& description)
{
    const QStringList clauses = description.split(QLatin1Char(';'), Qt::SkipEmptyParts);
    for (const QString& clause : clauses) {
        QString text = clause;
        text.remove(QLatin1Char(' '));
        if (text.isEmpty())
            continue;
        const qsizetype arrow = text.indexOf(QLatin1String("<-"));
        const QString owner = arrow < 0 ? text : text.left(arrow);
        mention(owner);
        if (arrow < 0)
            continue;
        const QStringList parts = text.mid(arrow + 2).split(QLatin1Char(','), Qt::SkipEmptyParts);
        for (const QString& part : parts) {
            const Input input = parseInput(part);
            mention(input.name);
            inputs[owner].append(input);
        }
    }
}

void TestNetwork::mention(const QString& name)
{
    if (units.contains(name))
        return;
    order.append(name);
    TestNode unit;
    unit.id = static_cast<quint64>(order.size());
    unit.name = name;
    units.insert(name, unit);
}

TestNetwork::Input TestNetwork::parseInput(const QString& text)
{
    const QStringList pieces = text.split(QLatin1Char('+'));
    Input input;
    input.name = pieces.first();
    for (qsizetype i = 1; i < pieces.size(); ++i) {
        input.send = input.send || pieces.at(i) == QLatin1String("send");
        input.sidechain = input.sidechain || pieces.at(i) == QLatin1String("sidechain");
    }
    return input;
}

TestNode& TestNetwork::node(const QString& name)
{
    Q_ASSERT(units.contains(name));
    return units[name];
}

QByteArray TestNetwork::records(int version) const
{
    QByteArray bytes;
    if (order.isEmpty())
        return bytes;
    // Explicit stack of (unit, next input), so deep test networks cost no
    // call stack.
    struct Step
    {
        QString name;
        qsizetype next;
    };
    QSet<QString> written;
    const QString& root = order.first();
    const QList<Input> rootInputs = inputs.value(root);
    bytes += TestFrames::nodeRecord(version, units.value(root), rootInputs.size());
    written.insert(root);
    std::vector<Step> stack{{root, 0}};
    while (!stack.empty()) {
        const QList<Input> list = inputs.value(stack.back().name);
        if (stack.back().next >= list.size()) {
            stack.pop_back();
            continue;
        }
        const Input input = list.at(stack.back().next++);
        const QList<Input> own = inputs.value(input.name);
        bytes += TestFrames::nodeRecord(version, units.value(input.name), own.size(), input.send,
                                        input.sidechain);
        if (!written.contains(input.name)) {
            written.insert(input.name);
            stack.push_back({input.name, 0});
        }
    }
    return bytes;
}

QByteArray TestNetwork::snapshot(int version) const
{
    return TestFrames::snapshot(version, records(version), totalCPU, sampleRate, blockLength);
}

QString TestNetwork::sharedTernary(int n)
{
    QHash<int, QStringList> inputs;
    for (int i = 1; i < n; ++i)
        inputs[(i - 1) / 3].append(QStringLiteral("N%1").arg(i));
    for (int i = 10; i < n; i += 7)
        inputs[i].append(QStringLiteral("N%1").arg(i - 5));
    QStringList clauses{QStringLiteral("N0")};
    for (auto it = inputs.constBegin(); it != inputs.constEnd(); ++it)
        clauses.append(QStringLiteral("N%1<-%2").arg(it.key()).arg(it.value().join(',')));
    return clauses.join(';');
}

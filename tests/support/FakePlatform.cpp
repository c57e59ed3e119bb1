#include "FakePlatform.h"

#include "platform/Clock.h"

namespace zor::testing {

class FakeAppService final : public AppService {
public:
    FakeAppService(FakeServiceManagement& owner, QString service, QString plist)
        : owner(owner)
        , service(std::move(service))
        , plist(std::move(plist)) {}

    ServiceStatus status() override {
        owner.record(service, plist, "status");
        return isDaemon() ? owner.daemonStatus : owner.agentStatus;
    }

    std::optional<PlatformError> registerService() override {
        owner.record(service, plist, "register");
        auto& results = isDaemon() ? owner.daemonRegisterResults : owner.agentRegisterResults;
        if (results.empty())
            return std::nullopt;
        std::optional<PlatformError> result;
        result.swap(results.front());
        results.pop_front();
        return result;
    }

    std::optional<PlatformError> unregisterService() override {
        owner.record(service, plist, "unregister");
        return isDaemon() ? owner.daemonUnregisterResult : owner.agentUnregisterResult;
    }

    void unregisterService(Completion completion) override {
        owner.record(service, plist, "unregisterAsync");
        completion(isDaemon() ? owner.daemonUnregisterResult : owner.agentUnregisterResult);
    }

private:
    bool isDaemon() const { return service == QLatin1String("daemon"); }

    FakeServiceManagement& owner;
    QString service;
    QString plist;
};

std::unique_ptr<AppService> FakeServiceManagement::daemonService(const QString& plistName) {
    return std::make_unique<FakeAppService>(*this, "daemon", plistName);
}

std::unique_ptr<AppService> FakeServiceManagement::agentService(const QString& plistName) {
    return std::make_unique<FakeAppService>(*this, "agent", plistName);
}

void FakeServiceManagement::record(const QString& service, const QString& plist,
                                   const QString& operation) {
    QMutexLocker lock(&mutex);
    recorded.append(Call{service, plist, operation, clock ? clock->now() : Millis(0)});
}

QList<FakeServiceManagement::Call> FakeServiceManagement::calls() const {
    QMutexLocker lock(&mutex);
    return recorded;
}

QStringList FakeServiceManagement::operations() const {
    QStringList out;
    for (const Call& call : calls())
        out.append(call.service + u'.' + call.operation);
    return out;
}

int FakeServiceManagement::count(const QString& operation) const {
    return int(operations().count(operation));
}

} // namespace zor::testing

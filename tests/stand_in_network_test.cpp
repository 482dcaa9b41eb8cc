// SPDX-FileCopyrightText: 2026 The KyVisaConfigure authors
// SPDX-License-Identifier: MIT

// The search of the network against a bus of the test's own, which has an Avahi daemon of a few lines on it.

#include "stand-in/NetworkInstruments.h"

#include <atomic>
#include <csignal>
#include <cstdlib>
#include <sstream>
#include <thread>

#include <gmock/gmock.h>

#include <sys/socket.h>
#include <sys/time.h>
#include <sys/un.h>
#include <unistd.h>
#if __has_include(<systemd/sd-bus.h>)
#include <systemd/sd-bus.h>
#else
#include <basu/sd-bus.h>
#endif

using ::testing::ElementsAreArray;
using ::testing::IsEmpty;

namespace
{

using Names = std::vector<std::string>;

constexpr const char* browser = "org.freedesktop.Avahi.ServiceBrowser";
constexpr standin::SearchSettings untilAnswered = {7, 3600000};

/// A signal, what it announces ("TYPE PROTOCOL NAME"), and what that resolves to ("PROTOCOL ADDRESS PORT"), if at all.
struct Announced
{
    const char* signal;
    std::string service;
    std::string address;
};

struct Behaviour
{
    std::vector<Announced> announced = {};
    std::string silentOn = {}; ///< the method that it never answers
    std::string closesOn = {}; ///< the method that ends the connection
    std::string refuses = {};  ///< the type of service that it does not browse
    int milliseconds = 0;      ///< how late it begins to answer
    bool isEndless = false;    ///< whether it repeats its signals for ever
};

/// A system bus for one connection. The first methods that it has not answered are answered once no more come.
class Bus
{
public:
    explicit Bus(Behaviour behaviour) : m_behaviour(std::move(behaviour))
    {
        sockaddr_un address = {AF_UNIX, "bus"};
        unlink(address.sun_path);
        if (bind(m_socket, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0 || listen(m_socket, 1) != 0)
            std::abort();
        setenv("DBUS_SYSTEM_BUS_ADDRESS", "unix:path=bus", 1);
        m_thread = std::thread([this] { serve(); });
    }

    ~Bus()
    {
        shutdown(m_socket, SHUT_RDWR); // ends accept()
        m_thread.join();
        close(m_socket);
    }

    Bus(const Bus&) = delete;
    Bus& operator=(const Bus&) = delete;

    std::atomic<std::size_t> mostWaiting = 0;
    std::atomic<bool> wasAsked = false;
    std::atomic<bool> mayStartDaemon = false;

private:
    void serve()
    {
        sigset_t all;
        sigfillset(&all);
        pthread_sigmask(SIG_SETMASK, &all, nullptr);
        const int connection = accept(m_socket, nullptr, nullptr);
        if (connection < 0)
            return;
        wasAsked = true;
        std::this_thread::sleep_for(std::chrono::milliseconds(m_behaviour.milliseconds));
        sd_bus_new(&m_bus);
        sd_bus_set_fd(m_bus, connection, connection);
        sd_bus_set_server(m_bus, 1, {});
        sd_bus_add_filter(m_bus, nullptr, received, this);
        int result = sd_bus_start(m_bus);
        while (result >= 0)
        {
            result = sd_bus_process(m_bus, nullptr);
            if (result == 0 && sd_bus_wait(m_bus, m_behaviour.isEndless ? 0 : 20000) == 0)
                result = answerWaiting();
        }
        answerWaiting();
        sd_bus_close_unref(m_bus);
    }

    int answerWaiting()
    {
        mostWaiting = std::max<std::size_t>(mostWaiting, m_waiting.size());
        for (sd_bus_message* call : std::exchange(m_waiting, {}))
        {
            resolve(call);
            sd_bus_message_unref(call);
        }
        return m_behaviour.isEndless && m_isBrowsed ? announce("_hislip._tcp", "/endless") : 0;
    }

    static int received(sd_bus_message* call, void* bus, sd_bus_error* /*error*/)
    {
        auto& self = *static_cast<Bus*>(bus);
        const char* name = sd_bus_message_get_member(call);
        const std::string method = name == nullptr ? "" : name;
        if (method == self.m_behaviour.closesOn)
            return sd_bus_close(self.m_bus), 1;
        if (method == "Hello")
            return sd_bus_reply_method_return(call, "s", ":1.1");
        if (sd_bus_message_is_method_call(call, "org.freedesktop.Avahi.Server", nullptr) > 0)
            self.mayStartDaemon = self.mayStartDaemon || sd_bus_message_get_auto_start(call) != 0;
        if (method == self.m_behaviour.silentOn)
            return 1;
        if (method == "ResolveService")
            self.m_waiting.push_back(sd_bus_message_ref(call));
        if (method == "ServiceBrowserNew")
            self.browse(call);
        return 1;
    }

    void browse(sd_bus_message* call)
    {
        const char* type = nullptr;
        sd_bus_message_skip(call, "ii");
        sd_bus_message_read(call, "s", &type);
        if (type == m_behaviour.refuses)
            return void(sd_bus_reply_method_errorf(call, SD_BUS_ERROR_FAILED, "%s", type));
        const std::string path = "/" + std::string(type).substr(1, 3);
        sd_bus_reply_method_return(call, "o", path.c_str());
        m_isBrowsed = true;
        announce(type, path.c_str());
        sd_bus_emit_signal(m_bus, path.c_str(), browser, "AllForNow", "");
        sd_bus_emit_signal(m_bus, path.c_str(), browser, "Failure", "s", "what comes after it changes nothing");
    }

    int announce(const std::string& type, const char* path)
    {
        int result = 0;
        for (const Announced& each : m_behaviour.announced)
        {
            std::istringstream words(each.service);
            std::string announcedType, name;
            int protocol = 0;
            words >> announcedType >> protocol >> name;
            if (announcedType == type)
                result = sd_bus_emit_signal(m_bus, path, browser, each.signal, "iisssu", 1, protocol, name.c_str(),
                                            type.c_str(), "local", 0U);
        }
        return result;
    }

    void resolve(sd_bus_message* call)
    {
        const char *name = nullptr, *type = nullptr, *domain = nullptr;
        int interface = 0, protocol = 0, wanted = 0;
        sd_bus_message_read(call, "iisssi", &interface, &protocol, &name, &type, &domain, &wanted);
        const std::string service = std::string(type) + " " + std::to_string(protocol) + " " + name;
        for (const Announced& each : m_behaviour.announced)
        {
            std::istringstream words(each.address);
            std::string address;
            int found = 0, port = 0;
            // Only the wanted protocol is looked for, and IPv4 is for those that IPv4 announces.
            if (each.service == service && words >> found >> address >> port && wanted == (protocol == 0 ? 0 : -1))
                return void(sd_bus_reply_method_return(call, "iissssisqaayu", interface, protocol, name, type, domain,
                                                       "host.local", found, address.c_str(), port, 0, 0));
        }
        sd_bus_reply_method_errorf(call, "org.freedesktop.Avahi.TimeoutError", "%s", name);
    }

    Behaviour m_behaviour;
    int m_socket = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sd_bus* m_bus = nullptr;
    std::vector<sd_bus_message*> m_waiting;
    bool m_isBrowsed = false;
    std::thread m_thread;
};

} // namespace

TEST(StandInNetwork, ListsEachServiceOnce)
{
    struct Case
    {
        const char* name;
        std::vector<Announced> announced;
        Names expected;
    };

    const std::vector<Case> cases = {
        {"nothing", {}, {}},
        {"each type",
         {{"ItemNew", "_hislip._tcp 0 a", "0 10.0.0.1 4880"},
          {"ItemNew", "_vxi-11._tcp 0 a", "0 10.0.0.1 111"},
          {"ItemNew", "_scpi-raw._tcp 0 a", "0 10.0.0.1 5025"}},
         {"TCPIP0::10.0.0.1::5025::SOCKET", "TCPIP0::10.0.0.1::hislip0::INSTR", "TCPIP0::10.0.0.1::inst0::INSTR"}},
        {"another port",
         {{"ItemNew", "_hislip._tcp 0 a", "0 10.0.0.1 4881"}},
         {"TCPIP0::10.0.0.1::hislip0,4881::INSTR"}},
        {"IPv4 first",
         {{"ItemNew", "_hislip._tcp 1 a", "1 fd00::1 4880"}, {"ItemNew", "_hislip._tcp 0 a", "0 10.0.0.1 4880"}},
         {"TCPIP0::10.0.0.1::hislip0::INSTR"}},
        {"IPv4 announced by IPv6",
         {{"ItemNew", "_hislip._tcp 1 a", "0 10.0.0.1 4880"}},
         {"TCPIP0::10.0.0.1::hislip0::INSTR"}},
        {"only IPv6", {{"ItemNew", "_hislip._tcp 1 a", "1 fd00::1 4880"}}, {"TCPIP0::[fd00::1]::hislip0::INSTR"}},
        {"link-local, by the name of interface 1",
         {{"ItemNew", "_hislip._tcp 1 a", "1 fe80::1 4880"}},
         {"TCPIP0::[fe80::1%lo]::hislip0::INSTR"}},
        {"announced twice",
         {{"ItemNew", "_hislip._tcp 0 a", "0 10.0.0.1 4880"}, {"ItemNew", "_hislip._tcp 0 a", "0 10.0.0.1 4880"}},
         {"TCPIP0::10.0.0.1::hislip0::INSTR"}},
        {"without an address, and one that has left",
         {{"ItemNew", "_hislip._tcp 0 a", ""}, {"ItemRemove", "_hislip._tcp 0 b", "0 10.0.0.2 4880"}},
         {}},
        {"another signal", {{"CacheExhausted", "_hislip._tcp 0 a", "0 10.0.0.1 4880"}}, {}},
    };
    for (const auto& [name, announced, expected] : cases)
    {
        const Bus bus({announced});
        EXPECT_THAT(standin::networkInstrumentResources(untilAnswered), ElementsAreArray(expected)) << name;
        EXPECT_FALSE(bus.mayStartDaemon) << name;
    }
}

TEST(StandInNetwork, BearsWhateverTheBusDoes)
{
    const std::vector<Announced> one = {{"ItemNew", "_hislip._tcp 0 a", "0 10.0.0.1 4880"}};
    const Names found = {"TCPIP0::10.0.0.1::hislip0::INSTR"};

    struct Case
    {
        const char* name;
        Behaviour behaviour;
        ViUInt32 milliseconds;
        Names expected;
    };

    const std::vector<Case> cases = {
        {"answers late", {one, "", "", "", 300}, 3600000, found},
        {"answers too late", {one, "", "", "", 600}, 100, {}},
        {"never browses", {one, "ServiceBrowserNew"}, 100, {}},
        {"never resolves", {one, "ResolveService"}, 100, {}},
        {"refuses a type", {one, "", "", "_vxi-11._tcp"}, 3600000, found},
        {"leaves at once", {one, "", "Hello"}, 3600000, {}},
        {"leaves later", {one, "", "ResolveService"}, 3600000, {}},
        {"never ends", {one, "", "", "_vxi-11._tcp", 0, true}, 300, found},
    };
    struct sigaction ignored = {};
    ignored.sa_handler = [](int) {};
    sigaction(SIGALRM, &ignored, nullptr);
    const itimerval often = {{0, 50000}, {0, 50000}};
    for (const auto& [name, behaviour, milliseconds, expected] : cases)
    {
        const Bus bus(behaviour);
        setitimer(ITIMER_REAL, &often, nullptr); // what a client's signals interrupt goes on
        EXPECT_EQ(standin::networkInstrumentResources({7, milliseconds}), expected) << name;
    }
    const itimerval never = {};
    setitimer(ITIMER_REAL, &never, nullptr);
}

TEST(StandInNetwork, KeepsWithinWhatABusAllows)
{
    Behaviour behaviour;
    for (int number = 100; number < 300; ++number)
        behaviour.announced.push_back(
            {"ItemNew", "_scpi-raw._tcp 0 s" + std::to_string(number), "0 10.0.0.1 " + std::to_string(number)});
    const Bus bus(behaviour);
    EXPECT_EQ(standin::networkInstrumentResources(untilAnswered).size(), 200U);
    EXPECT_LE(bus.mostWaiting, 64U);
}

TEST(StandInNetwork, AsksNothingThatIsNotWanted)
{
    for (const standin::SearchSettings& settings : {standin::SearchSettings{0, 1000}, standin::SearchSettings{7, 0}})
    {
        const Bus bus({});
        EXPECT_THAT(standin::networkInstrumentResources(settings), IsEmpty());
        EXPECT_FALSE(bus.wasAsked);
    }
    const Bus bus(
        {{{"ItemNew", "_hislip._tcp 0 a", "0 10.0.0.1 4880"}, {"ItemNew", "_vxi-11._tcp 0 a", "0 10.0.0.1 111"}}});
    EXPECT_THAT(standin::networkInstrumentResources({1, 3600000}),
                ElementsAreArray({"TCPIP0::10.0.0.1::inst0::INSTR"}));
}

// SPDX-FileCopyrightText: 2026 The KyVisaConfigure authors
// SPDX-License-Identifier: MIT

// The search of the network, against a bus of the test's own that has an Avahi daemon of a few lines on it.

#include "stand-in/NetworkInstruments.h"

#include <atomic>
#include <csignal>
#include <cstdlib>
#include <thread>

#include <gtest/gtest.h>

#include <sys/socket.h>
#include <sys/time.h>
#include <sys/un.h>
#include <unistd.h>
#if __has_include(<systemd/sd-bus.h>)
#include <systemd/sd-bus.h>
#else
#include <basu/sd-bus.h>
#endif

namespace
{

struct Behaviour
{
    int meters = 1;            ///< services of type _scpi-raw._tcp, by IPv4
    std::string silentOn = {}; ///< the method that is never answered
    std::string closesOn = {}; ///< the method that ends the connection
    std::string refuses = {};  ///< the type of service that is not browsed
    int milliseconds = 0;      ///< how late the first answer comes
};

/// A system bus for one connection. It announces the meters, a _vxi-11._tcp by IPv6 that another announcement repeats,
/// a _hislip._tcp that leaves, and one without an address. What is to be resolved is answered once no more comes.
class Bus
{
public:
    explicit Bus(Behaviour behaviour) : m_behaviour(std::move(behaviour))
    {
        const sockaddr_un address = {AF_UNIX, "bus"};
        unlink(address.sun_path);
        bind(m_socket, reinterpret_cast<const sockaddr*>(&address), sizeof address);
        listen(m_socket, 1);
        setenv("DBUS_SYSTEM_BUS_ADDRESS", "unix:path=bus", 1);
        m_thread = std::thread([this] { serve(); });
    }

    ~Bus()
    {
        shutdown(m_socket, SHUT_RDWR); // ends accept()
        m_thread.join();
        close(m_socket);
    }

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
        wasAsked = connection >= 0;
        std::this_thread::sleep_for(std::chrono::milliseconds(m_behaviour.milliseconds));
        sd_bus_new(&m_bus);
        sd_bus_set_fd(m_bus, connection, connection);
        sd_bus_set_server(m_bus, 1, {});
        sd_bus_add_filter(m_bus, nullptr, received, this);
        for (int result = sd_bus_start(m_bus); result >= 0;)
        {
            result = sd_bus_process(m_bus, nullptr);
            if (result == 0 && sd_bus_wait(m_bus, 20000) == 0)
                resolveWaiting();
        }
        resolveWaiting();
        sd_bus_close_unref(m_bus);
    }

    static int received(sd_bus_message* call, void* bus, sd_bus_error* /*error*/)
    {
        auto& self = *static_cast<Bus*>(bus);
        const char* member = sd_bus_message_get_member(call);
        const std::string method = member == nullptr ? "" : member;
        if (method == self.m_behaviour.closesOn)
            sd_bus_close(self.m_bus);
        else if (method == "Hello")
            sd_bus_reply_method_return(call, "s", ":1.1");
        else if (method == "ServiceBrowserNew" || method == "ResolveService")
        {
            self.mayStartDaemon = self.mayStartDaemon || sd_bus_message_get_auto_start(call) != 0;
            if (method != self.m_behaviour.silentOn && method == "ServiceBrowserNew")
                self.browse(call);
            else if (method != self.m_behaviour.silentOn)
                self.m_waiting.push_back(sd_bus_message_ref(call));
        }
        return 1;
    }

    void signal(const char* member, const std::string& type, int protocol, const std::string& name)
    {
        sd_bus_emit_signal(m_bus, ("/" + type.substr(1, 3)).c_str(), "org.freedesktop.Avahi.ServiceBrowser", member,
                           "iisssu", 1, protocol, name.c_str(), type.c_str(), "local", 0U);
    }

    void browse(sd_bus_message* call)
    {
        const char* name = nullptr;
        sd_bus_message_skip(call, "ii");
        sd_bus_message_read(call, "s", &name);
        const std::string type = name;
        if (type == m_behaviour.refuses)
            return void(sd_bus_reply_method_errorf(call, SD_BUS_ERROR_FAILED, "refused"));
        sd_bus_reply_method_return(call, "o", "/browser");
        for (int number = 0; type == "_scpi-raw._tcp" && number < m_behaviour.meters; ++number)
            signal("ItemNew", type, 0, std::to_string(5000 + number));
        for (const int port : {111, 111, 1}) // 1: without an address
        {
            if (type == "_vxi-11._tcp")
                signal("ItemNew", type, 1, std::to_string(port));
        }
        if (type == "_hislip._tcp")
            signal("ItemNew", type, 0, "4880");
        if (type != "_hislip._tcp")
            signal("AllForNow", type, 0, "");
        if (type != "_vxi-11._tcp") // after the other it ends nothing
            signal("Failure", type, 0, "");
    }

    void resolveWaiting()
    {
        mostWaiting = std::max<std::size_t>(mostWaiting, m_waiting.size());
        // The one that leaves comes and goes before the meters.
        for (sd_bus_message* call : std::exchange(m_waiting, {}))
        {
            const char *name = nullptr, *type = nullptr, *domain = nullptr;
            int interface = 0, protocol = 0, wanted = 0;
            sd_bus_message_read(call, "iisssi", &interface, &protocol, &name, &type, &domain, &wanted);
            if (wanted != (protocol == 0 ? 0 : -1) || std::string(name) == "1")
                sd_bus_reply_method_errorf(call, "org.freedesktop.Avahi.TimeoutError", "nobody answers");
            else
                sd_bus_reply_method_return(call, "iissssisqaayu", interface, protocol, name, type, domain, "host.local",
                                           protocol, protocol == 0 ? "10.0.0.1" : "fe80::1", std::atoi(name), 0, 0);
            if (std::string(type) == "_hislip._tcp")
                signal("ItemRemove", type, protocol, name);
            sd_bus_message_unref(call);
        }
    }

    Behaviour m_behaviour;
    int m_socket = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sd_bus* m_bus = nullptr;
    std::vector<sd_bus_message*> m_waiting;
    std::thread m_thread;
};

} // namespace

TEST(StandInNetwork, BearsWhateverTheBusDoes)
{
    constexpr ViUInt32 untilAnswered = 3600000;
    const std::string meter = "TCPIP0::10.0.0.1::5000::SOCKET ";
    const std::string both = meter + "TCPIP0::[fe80::1%lo]::inst0::INSTR ";

    const struct
    {
        const char* name;
        Behaviour behaviour;
        standin::SearchSettings settings;
        std::string expected;
    } cases[] = {
        {"all is well", {}, {7, untilAnswered}, both},
        {"VXI-11 alone", {}, {1, untilAnswered}, "TCPIP0::[fe80::1%lo]::inst0::INSTR "},
        {"HiSLIP, which leaves, and sockets", {}, {6, untilAnswered}, meter},
        {"HiSLIP alone", {}, {2, untilAnswered}, "TCPIP0::10.0.0.1::hislip0::INSTR "},
        {"refuses a type", {1, "", "", "_vxi-11._tcp"}, {7, untilAnswered}, meter},
        {"answers late", {1, "", "", "", 300}, {7, untilAnswered}, both},
        {"answers too late", {1, "", "", "", 600}, {7, 100}, ""},
        {"never browses", {1, "ServiceBrowserNew"}, {7, 100}, ""},
        {"never resolves", {1, "ResolveService"}, {7, 100}, ""},
        {"leaves at once", {1, "", "Hello"}, {7, untilAnswered}, ""},
        {"leaves later", {1, "", "ResolveService"}, {7, untilAnswered}, ""},
        {"no search", {}, {0, untilAnswered}, ""},
        {"no time", {}, {7, 0}, ""},
    };
    struct sigaction caught = {};
    caught.sa_handler = [](int) {};
    sigaction(SIGALRM, &caught, nullptr);
    for (const auto& [name, behaviour, settings, expected] : cases)
    {
        const Bus bus(behaviour);
        // The client's own signals end no search, and no search needs them to end.
        const suseconds_t period = behaviour.milliseconds == 300 ? 50000 : 0;
        const itimerval timer = {{0, period}, {0, period}};
        setitimer(ITIMER_REAL, &timer, nullptr);
        std::string found;
        for (const std::string& resource : standin::networkInstrumentResources(settings))
            found += resource + " ";
        EXPECT_EQ(found, expected) << name;
        EXPECT_EQ(bus.wasAsked, settings.networkSearches != 0 && settings.milliseconds != 0) << name;
        EXPECT_FALSE(bus.mayStartDaemon) << name;
    }
}

TEST(StandInNetwork, KeepsWithinTheCallsThatABusAllows)
{
    const Bus bus({200});
    EXPECT_EQ(standin::networkInstrumentResources({4, 3600000}).size(), 200U);
    EXPECT_LE(bus.mostWaiting, 64U);
}

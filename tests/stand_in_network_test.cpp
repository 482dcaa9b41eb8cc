// SPDX-FileCopyrightText: 2026 The KyVisaConfigure authors
// SPDX-License-Identifier: MIT

#include "StandInAnswers.h"
#include "stand-in/SdBus.h"
#include "visa/VisaHandle.h"

#include <array>
#include <thread>

#include <gtest/gtest.h>

#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace
{

/// A system bus for one connection, with an Avahi daemon of a few lines on it. tests/stand-in/network.txt explains the
/// words of its script.
class Bus
{
public:
    explicit Bus(QStringList script) : m_script(std::move(script))
    {
        const sockaddr_un address = {AF_UNIX, "bus"};
        unlink(address.sun_path);
        bind(m_socket, reinterpret_cast<const sockaddr*>(&address), sizeof address);
        listen(m_socket, 1);
        qputenv("DBUS_SYSTEM_BUS_ADDRESS", "unix:path=bus");
        if (!m_script.contains("deaf"))
            m_service = std::thread([this] { serve(); });
    }

    ~Bus()
    {
        shutdown(m_socket, SHUT_RDWR); // ends accept(), if nobody has asked
        if (m_service.joinable())
            m_service.join();
        close(m_socket);
    }

    /// Whether somebody waits for an answer of a deaf bus.
    [[nodiscard]] bool isAsked() const
    {
        pollfd waiting = {m_socket, POLLIN, 0};
        return poll(&waiting, 1, 0) > 0;
    }

private:
    void serve()
    {
        const int connection = accept(m_socket, nullptr, nullptr);
        if (connection < 0)
            return;
        sd_bus_new(&m_bus);
        sd_bus_set_fd(m_bus, connection, connection);
        sd_bus_set_server(m_bus, 1, {});
        sd_bus_add_filter(m_bus, nullptr, received, this);
        sd_bus_start(m_bus);
        while (sd_bus_process(m_bus, nullptr) > 0 || sd_bus_wait(m_bus, UINT64_MAX) >= 0)
            continue;
        sd_bus_close_unref(m_bus);
    }

    static int received(sd_bus_message* call, void* bus, sd_bus_error* /*error*/)
    {
        auto& self = *static_cast<Bus*>(bus);
        const QString method = sd_bus_message_get_member(call);
        if (method == "Hello")
            return sd_bus_reply_method_return(call, "s", ":1.1");
        return (method == "ServiceBrowserNew" ? self.browse(call) : self.resolve(call)) ? 1 : -EACCES;
    }

    void signal(const char* member, const QString& announcement)
    {
        const QStringList fields = announcement.split('/');
        const QByteArray name = fields[0].toLatin1(), type = fields[1].toLatin1(), path = '/' + type.mid(1, 3);
        sd_bus_emit_signal(m_bus, path, "org.freedesktop.Avahi.ServiceBrowser", member, "iisssu", fields[2].toInt(),
                           fields[3].toInt(), name.data(), type.data(), "local", 0U);
    }

    /// Returns false to refuse the call, as resolve() does.
    bool browse(sd_bus_message* call)
    {
        const char* name = nullptr;
        sd_bus_message_skip(call, "ii");
        sd_bus_message_read(call, "s", &name);
        const QString type = name;
        if (m_script.contains("refuses:" + type) || sd_bus_message_get_auto_start(call) != 0) // no search starts it
            return false;
        sd_bus_reply_method_return(call, "o", "/browser");
        for (const QString& announcement : m_script.filter('/' + type + '/'))
            signal("ItemNew", announcement);
        signal(type == "_hislip._tcp" ? "Failure" : "AllForNow", '/' + type + "/1/0");
        return true;
    }

    bool resolve(sd_bus_message* call)
    {
        const char *name = nullptr, *type = nullptr, *domain = nullptr;
        int interface = 0, protocol = 0, wanted = 0;
        sd_bus_message_read(call, "iisssi", &interface, &protocol, &name, &type, &domain, &wanted);
        const QString known = QString("%1/%2/%3/%4/").arg(name, type).arg(interface).arg(protocol);
        const QString announcement = m_script.filter(known).value(0);
        const QByteArray address = announcement.section('/', 4, 4).toLatin1();
        if (address.isEmpty() || domain != QString("local") || wanted != (protocol == 0 ? 0 : -1))
            return false;
        sd_bus_reply_method_return(call, "iissssisqaayu", interface, protocol, name, type, domain, "host.local",
                                   address.contains(':') ? 1 : 0, address.data(),
                                   announcement.section('/', 5, 5).toInt(), 0, 0);
        if (announcement.endsWith("/leaves"))
            signal("ItemRemove", announcement);
        return true;
    }

    QStringList m_script;
    int m_socket = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sd_bus* m_bus = nullptr;
    std::thread m_service;
};

std::vector<std::string> search(const QStringList& words)
{
    const Bus bus(words.mid(3));
    const VisaHandle session = VisaHandle::defaultResourceManager();
    viSetAttribute(session.get(), KYVISA_ATTR_NETWORK_SEARCHES, words[1].toUInt());
    viSetAttribute(session.get(), KYVISA_ATTR_SEARCH_TIME, words[2].toUInt());
    ViFindList list = VI_NULL;
    std::array<ViChar, VI_FIND_BUFLEN> name = {};
    std::vector<std::string> found;
    for (ViStatus status = viFindRsrc(session.get(), words[0].toLatin1(), &list, nullptr, name.data());
         status == VI_SUCCESS; status = viFindNext(list, name.data()))
        found.emplace_back(name.data());
    found.emplace_back(bus.isAsked() ? "asked" : "");
    return found;
}

} // namespace

TEST(StandInNetwork, BearsWhateverTheBusDoes)
{
    expectAnswers(std::getenv("CALLS"), search);
}

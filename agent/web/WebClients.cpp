#include "agent/web/WebClients.h"

#include <algorithm>
#include <chrono>
#include <cstddef>

bool WebClients::makeRoom(const std::string& peer) {
    const auto same = [&peer](const auto& one) { return one->peer == peer; };
    const auto ofSame = static_cast<std::size_t>(std::count_if(list.begin(), list.end(), same));
    const bool ofPeer = ofSame >= limits.perPeer;
    if (!ofPeer && list.size() < limits.clients) return true;
    auto oldest = list.end();
    for (auto it = list.begin(); it != list.end(); ++it) {
        if ((*it)->isStream() || (ofPeer && !same(*it))) continue;
        if (oldest == list.end() || (*it)->waitsSince() < (*oldest)->waitsSince()) oldest = it;
    }
    if (oldest == list.end() ||
        (*oldest)->waitsSince() + limits.grace > std::chrono::steady_clock::now()) {
        return false;
    }
    list.erase(oldest);
    return true;
}

bool WebClients::mayAnswer(const WebClient& asking) const {
    std::size_t unread = 0;
    for (const auto& client : list) {
        if (client->peer == asking.peer) unread += client->unread();
    }
    return unread < limits.unread;
}

bool WebClients::mayStream(const WebClient& asking) const {
    std::size_t streams = 0;
    std::size_t ofPeer = 0;
    for (const auto& client : list) {
        if (!client->isStream()) continue;
        ++streams;
        if (client->peer == asking.peer) ++ofPeer;
    }
    return streams < limits.streams && ofPeer < limits.streamsPerPeer;
}

bool WebClients::hasStreams() const {
    return std::any_of(list.begin(), list.end(),
                       [](const auto& client) { return client->isStream(); });
}

void WebClients::shedUnread() {
    for (;;) {
        std::size_t all = 0;
        WebClient* most = nullptr;
        for (const auto& client : list) {
            all += client->unread();
            if (most == nullptr || client->unread() > most->unread()) most = client.get();
        }
        if (all < limits.unreadOfAll || most == nullptr) return;
        most->end();
    }
}

void WebClients::dropFinished() {
    const WebClient::Time now = std::chrono::steady_clock::now();
    list.erase(std::remove_if(list.begin(), list.end(),
                              [now](const auto& client) { return client->isOver(now); }),
               list.end());
}

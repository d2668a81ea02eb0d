#include "agent/web/HttpExchange.h"

#include "agent/LateLibrary.h"

std::unique_ptr<HttpExchange> loadHttpExchange() {
    const LateLibrary library("raidwatch-http.so", "libcpp-httplib0.11");
    HttpExchange* (*make)() = nullptr;
    library.find("makeHttpExchange", make);
    return std::unique_ptr<HttpExchange>(make());
}

#include "agent/Output.h"

#include <poll.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "agent/Failure.h"

void Output::write(const std::string& text) {
    std::size_t done = 0;
    while (done < text.size()) {
        const ssize_t count = ::write(fd, text.data() + done, text.size() - done);
        if (count >= 0) {
            done += static_cast<std::size_t>(count);
        } else if (errno == EPIPE) {
            throw OutputClosed();
        } else if (errno != EINTR) {
            throw Failure(Failure::kFailed,
                          std::string("cannot write the output: ") + std::strerror(errno));
        }
    }
}

void Output::check() const {
    pollfd state{fd, 0, 0};
    if (poll(&state, 1, 0) == 1 && (state.revents & POLLERR) != 0) throw OutputClosed();
}

bool Output::isTerminal() const { return isatty(fd) == 1; }

std::size_t Output::columns() const {
    winsize size{};
    if (!isTerminal() || ioctl(fd, TIOCGWINSZ, &size) != 0) return 0;
    return size.ws_col;
}

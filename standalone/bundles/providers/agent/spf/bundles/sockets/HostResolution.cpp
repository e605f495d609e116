#include "agent/spf/bundles/sockets/HostResolution.hpp"

#include <utility>

#include <boost/asio/ip/address.hpp>

namespace agent::spf::bundles::sockets {

using boost::asio::ip::tcp;
using boost::system::error_code;

void resolveHost(tcp::resolver& resolver, TcpAddress const& address, tcp::resolver::flags flags,
                 ResolutionHandler done) {
    error_code notNumeric;
    auto const numeric = boost::asio::ip::make_address(address.host, notNumeric);
    if (!notNumeric) {
        return done({tcp::endpoint(numeric, address.port)}, "");
    }
    resolver.async_resolve(address.host, std::to_string(address.port), flags | tcp::resolver::numeric_service,
                           [done = std::move(done), host = address.host](
                               error_code const& error, tcp::resolver::results_type const& results) {
                               if (error || results.empty()) {
                                   return done({}, "no such host \"" + host + "\" (" + error.message() + ")");
                               }
                               done({results.begin(), results.end()}, "");
                           });
}

} // namespace agent::spf::bundles::sockets

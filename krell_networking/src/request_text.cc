// Writes GET and HEAD requests of HTTP/1.1, which have no body.
#include "request_text.h"

#include <curl/curl.h>

#include <cstdint>
#include <memory>

#include "server_address.h"

namespace Krell {
namespace Networking {

namespace {

constexpr int kHttpPort = 80;
constexpr int kHttpsPort = 443;

struct UrlCleanup {
  void operator()(CURLU* url) const { curl_url_cleanup(url); }
};
struct TextCleanup {
  void operator()(char* text) const { curl_free(text); }
};

// The name as it is looked up: outside of ASCII, that differs from the one given.
std::string nameOnTheWire(const std::string& host) {
  const std::unique_ptr<CURLU, UrlCleanup> url(curl_url());
  char* text = nullptr;
  if (url == nullptr || curl_url_set(url.get(), CURLUPART_SCHEME, "http", 0) != CURLUE_OK ||
      curl_url_set(url.get(), CURLUPART_HOST, host.c_str(), 0) != CURLUE_OK ||
      curl_url_get(url.get(), CURLUPART_HOST, &text, CURLU_PUNYCODE) != CURLUE_OK) {
    return host;
  }
  return std::unique_ptr<char, TextCleanup>(text).get();
}

std::string base64Of(const std::string& bytes) {
  constexpr const char* kDigits =
      "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  std::string text;
  std::uint32_t bits = 0;
  int count = 0;
  for (const char c : bytes) {
    bits = (bits << 8U) | static_cast<unsigned char>(c);
    for (count += 8; count >= 6; count -= 6)
      text += kDigits[(bits >> static_cast<unsigned>(count - 6)) & 0x3FU];
  }
  if (count > 0) text += kDigits[(bits << static_cast<unsigned>(6 - count)) & 0x3FU];
  text.append((4 - text.size() % 4) % 4, '=');
  return text;
}

bool isAscii(const std::string& text) {
  for (const char c : text) {
    if (static_cast<unsigned char>(c) >= 0x80) return false;
  }
  return true;
}

void appendField(std::string& text, const HeaderField& field) {
  text.append(field.name).append(": ").append(field.value).append("\r\n");
}

void appendRange(std::string& text, const HttpClient::RequestOptions& options) {
  if (options.firstByte < 0) return;
  text.append("Range: bytes=").append(std::to_string(options.firstByte)).append("-");
  if (options.lastByte >= 0) text.append(std::to_string(options.lastByte));
  text.append("\r\n");
}

}  // namespace

bool isRequestTarget(const char* path) {
  if (path == nullptr || *path != '/') return false;
  for (; *path != '\0'; ++path) {
    const auto byte = static_cast<unsigned char>(*path);
    if (byte <= 0x20 || byte == 0x7F) return false;
  }
  return true;
}

RequestText::RequestText(const Peer& peer, const HeaderFields& fields) {
  const std::string host = isAscii(peer.host) ? peer.host : nameOnTheWire(peer.host);
  const std::string address = hostAndPort(host.c_str(), peer.port);
  const bool usualPort = peer.port == (peer.tls ? kHttpsPort : kHttpPort);
  if (peer.speaksToProxy()) targetBegin_ = "http://" + address;
  afterTarget_ = " HTTP/1.1\r\nHost: ";
  afterTarget_ += usualPort ? address.substr(0, address.rfind(':')) : address;
  afterTarget_ += "\r\nAccept: */*\r\n";
  if (peer.speaksToProxy()) {
    afterTarget_ += "Proxy-Connection: Keep-Alive\r\n";
    const std::string credentials = peer.proxyUser + ':' + peer.proxyPassword;
    if (!peer.proxyUser.empty())
      appendField(afterTarget_, {"Proxy-Authorization", "Basic " + base64Of(credentials)});
  }
  for (const HeaderField& field : fields.list)
    appendField(afterTarget_, field);
}

void RequestText::write(const HttpClient::RequestOptions& options, std::string& text) const {
  text.assign(options.method == HttpClient::kHead ? "HEAD " : "GET ");
  text.append(targetBegin_).append(options.path).append(afterTarget_);
  appendRange(text, options);
  if (options.fields != nullptr) {
    for (const HeaderField& field : options.fields->fields().list)
      appendField(text, field);
  }
  text.append("\r\n");
}

}  // namespace Networking
}  // namespace Krell

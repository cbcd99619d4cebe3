#include "agent/feed/FeedFile.h"

#include <fmt/format.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <nlohmann/json.hpp>

#include "agent/Readable.h"
#include "agent/StartError.h"

namespace Agent {

FeedFile::FeedFile(std::string path, ClientRegistry& clients, OperationQueue& queue, Warn warn)
    : path_(std::move(path)), session_(clients, queue), warn_(std::move(warn)) {
  if (const auto why = whyUnreadable(path_)) {
    throw StartError(fmt::format("--feed-file {}: {}", path_, *why));
  }
  file_.open(path_, std::ios::binary);
}

bool FeedFile::hasWork() { return session_.hasWork() || session_.wantsInput(); }

void FeedFile::work(Ubo::YieldPolicy& yield) {
  while (hasWork()) {
    if (session_.wantsInput()) {
      readMore();
    }
    session_.work(yield);
    takeAnswers();
    if (yield.shouldYield()) {
      break;
    }
  }
}

void FeedFile::readMore() {
  std::array<char, LineBuffer::kMaxLine> buffer;
  file_.read(buffer.data(), buffer.size());
  session_.receive({buffer.data(), static_cast<std::size_t>(file_.gcount())});
  if (!file_) {
    session_.inputEnded(Session::End::kEndOfFile);
    if (file_.bad()) {
      warn_(fmt::format("{}: {}", path_, std::strerror(errno)));
    }
  }
}

void FeedFile::takeAnswers() {
  std::string_view answers = session_.output();
  while (!answers.empty()) {
    const auto answer = nlohmann::json::parse(answers.substr(0, answers.find('\n')));
    answers.remove_prefix(answers.find('\n') + 1);
    if (!answer.at("ok").get<bool>()) {
      warn_(fmt::format("{}:{}: {}", path_, answer.at("line").get<std::uint64_t>(),
                        answer.at("error").get<std::string>()));
    }
  }
  session_.outputTaken(session_.output().size());
}

}  // namespace Agent

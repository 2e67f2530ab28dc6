#include "t1_sdk/boardtest/service/heartbeat.h"

#include <unistd.h>

#include "t1_sdk/boardtest/protocol/message.h"

using namespace boardtest;

namespace {

constexpr unsigned kPauseSeconds = 5;

void allow_end(bool yes) {
  int before = 0;
  pthread_setcancelstate(yes ? PTHREAD_CANCEL_ENABLE : PTHREAD_CANCEL_DISABLE, &before);
}

void delete_document(void* document) {
  delete static_cast<XmlDocument*>(document);
}

}  // namespace

// The thread can be ended in its pause only, never while it sends. Its document is freed by a cleanup
// handler, since a small C library ends a thread without running destructors.
void* HeartBeatThread(void* /*arg*/) {
  allow_end(false);
  auto* prompt = new XmlDocument;
  pthread_cleanup_push(delete_document, prompt);
  start_service_message(*prompt, 1);
  prompt->AddChildElem("TestContext", "\n请选择测试项(默认值=0): \n");
  while (tcp_send_xml_msg(prompt) == 0) {
    allow_end(true);
    sleep(kPauseSeconds);
    allow_end(false);
  }
  pthread_cleanup_pop(1);
  return nullptr;
}

boardtest::Heartbeat::~Heartbeat() {
  stop();
}

bool boardtest::Heartbeat::start() {
  running_ = pthread_create(&thread_, nullptr, HeartBeatThread, nullptr) == 0;
  return running_;
}

void boardtest::Heartbeat::stop() {
  if (!running_) return;
  running_ = false;
  pthread_cancel(thread_);
  pthread_join(thread_, nullptr);
}

// The station's own sentences in Chinese. It says its reasons in English, as its logs and records have them; operators
// read them in their language. A star stands for what differs: a serial number, a slot, a number.
const kChinese = [
  ["* is in slot * now", "{1} 正在工位 {2}"],
  ["* is in a run now, in slot *", "{1} 正在测试，工位 {2}"],
  ["* is in a run now", "{1} 正在测试"],
  ["* is no serial number of a plan of slot *", "{1} 不符合工位 {2} 的序列号规则"],
  ["* has not passed * in * runs: to repair, until it is released", "{1} 在 {2} 中已有 {3} 次未通过：送修，放行后才能再测"],
  ["there is no slot *", "没有工位 {1}"],
  ["no slot is free: a check is due", "没有空闲工位：需要点检"],
  ["no slot is free", "没有空闲工位"],
  ["slot * is testing another unit", "工位 {1} 正在测试另一块板"],
  ["slot * shows a verdict that must be acknowledged first", "工位 {1} 的结果必须先确认"],
  ["slot * is locked: *", "工位 {1} 已锁定：{2}"],
  ["slot * takes no unit: its check is due", "工位 {1} 不接收电路板：需要点检"],
  ["its check is due", "需要点检"],
  ["the good check unit * ended as *, not as *", "良品点检件 {1} 的结果是 {2}，应为 {3}"],
  ["the bad check unit * ended as *, not as *", "不良点检件 {1} 的结果是 {2}，应为 {3}"],
  ["the station is being shut down", "测试站正在关闭"],
  ["the station was shut down", "测试站已关闭"],
  ["the station ended before the run did", "测试站在测试结束前中断"],
  ["stopped by a person", "由人员停止"],
  ["no slot asks anything", "没有工位在提问"],
  ["slot * asks nothing", "工位 {1} 没有提问"],
  ["slot * asks something else by now", "工位 {1} 已换成另一个问题"],
  ["nothing runs in slot *", "工位 {1} 没有测试"],
  ["slot * shows no verdict", "工位 {1} 没有结果"],
  ["slot * is locked already", "工位 {1} 已经锁定"],
  ["slot * is not locked by a person or a check", "工位 {1} 没有被人员或点检锁定"],
  ["there is no run of * in these records", "记录中没有 {1}"],
  ["a reason is needed", "必须填写原因"],
  ["the scan is empty", "扫描内容为空"],
  ["the scan is too long", "扫描内容过长"],
  ["the board is busy with another station; waiting up to * s for its greeting", "电路板正被另一测试站使用；最多等待 {1} 秒"],
  ["still waiting for the greeting, since leaving now would end the board's server; stop once more to leave all the same",
    "仍在等待欢迎信息：现在离开会使电路板的服务终止；再按一次停止则仍然离开"],
  ["left before the greeting: the board's server ends when it comes to this connection, and may be gone for a minute",
    "在欢迎信息之前离开：电路板的服务将终止，可能一分钟内不可用"],
  ["the board is busy with another station", "电路板正被另一测试站使用"],
  ["no connection to *: *", "无法连接 {1}：{2}"],
  ["no banner and menu within * s: *", "{1} 秒内没有收到欢迎信息和菜单：电路板正忙，或不是电路板"],
  ["no reply within * s: *", "{1} 秒内没有答复：电路板不认识此代码，或测试卡住"],
  ["the connection broke: *", "连接中断：{1}"],
  ["the board closed the connection*", "电路板关闭了连接"],
  ["another board, or another program on it: its build line is *, and was *", "电路板或其程序已更换：版本行是 {1}，原来是 {2}"],
  ["the board's build line, *, is not one of this plan, *", "电路板的版本行 {1} 不符合计划 {2}"],
  ["nobody answered: *", "没有人回答：{1}"],
  ["answered no: *", "回答为否：{1}"],
  ["cannot store in *: *", "无法写入 {1}：{2}"],
];

const kPatterns = kChinese.map(([english, chinese]) => {
  const parts = english.split("*").map((part) => part.replace(/[.?()[\]{}+^$|\\]/g, "\\$&"));
  return [new RegExp(`^${parts.join("(.*?)")}$`), chinese];
});

function inChinese(sentence) {
  for (const [pattern, chinese] of kPatterns) {
    const found = pattern.exec(sentence);
    if (found) return chinese.replace(/\{(\d)\}/g, (_, number) => inChinese(found[number]));
  }
  return sentence;
}

/// What the station said, line by line, in this language as far as the sentences are known; boards' words stay.
export function reasonIn(language, text) {
  return language === "zh" ? text.split("\n").map(inChinese).join("\n") : text;
}

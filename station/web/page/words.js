// Every text of the pages, in every language: the one catalogue, and the language that is chosen.
import { setAttribute, setText } from "/page/dom.js";

export const words = {
  zh: {
    title: "测试线",
    scan: "扫描",
    scan_hint: "扫描序列号",
    operator: "操作员",
    operator_none: "未填写",
    operator_ask: "操作员是谁？",
    connection: "连接",
    live: "正常",
    lost: "中断",
    lost_banner: "与测试站的连接中断 — 下面的内容可能已过时",
    records: "记录",
    ok: "正常",
    trouble: "故障",
    records_banner: "记录无法写入，不再接收电路板：{reason}",
    central: "中央数据库",
    central_off: "未启用",
    central_connected: "已连接",
    central_waiting: "等待中",
    behind: "{count} 条待传",
    results: "结果",
    report: "报告",
    logout: "退出",
    idle: "空闲",
    waiting: "等待电路板",
    testing: "测试中",
    locked: "已锁定",
    passed: "合格",
    failed: "不合格",
    error: "异常",
    stopped: "停止",
    interrupted: "中断",
    retried: "有重测",
    next: "→ 下一个",
    step: "第 {number} 步，共 {total} 步",
    attempt: "第 {number} 次",
    attempt_of: "第 {number} 次，共 {total} 次",
    seconds: "{seconds} 秒",
    outcome_failed: "不合格",
    outcome_timed_out: "超时",
    outcome_broken: "通信中断",
    outcome_stopped: "停止",
    outcome_interrupted: "中断",
    measured: "实测 {value}",
    limits: "限值 {low} … {high}",
    limit_low: "下限 {low}",
    limit_high: "上限 {high}",
    not_found: "未测得",
    low: "偏低",
    high: "偏高",
    acknowledge: "确认",
    acknowledge_needed: "必须确认",
    question: "问题",
    question_first: "扫码或按键的回答属于此处",
    answer: "回答",
    yes: "是",
    no: "否",
    stop: "停止",
    lock: "锁定",
    unlock: "解锁",
    release: "放行 {serial}",
    release_unit: "放行",
    cancel: "取消",
    apply: "确定",
    stop_ask: "停止工位 {slot} 上 {serial} 的测试？",
    lock_ask: "锁定工位 {slot}。原因：",
    unlock_ask: "解锁工位 {slot}。原因：",
    release_ask: "放行 {serial}，允许再测。原因：",
    released: "{serial} 已放行",
    scan_sent: "{text} …",
    scan_taken: "{text} → 工位 {slot}",
    scan_done: "{text} ✓",
    next_named: "下一次扫描 → 工位 {slot}",
    answered: "工位 {slot}：{answer}",
    acknowledged: "工位 {slot} 已确认",
    acknowledge_none: "没有需要确认的工位",
    acknowledge_several: "请扫描 acknowledge:工位 — 需要确认的工位：{slots}",
    question_gone: "问题已经结束，回答未采用",
    refused: "拒绝 {text}：{reason}",
    refused_lost: "拒绝 {text}：与测试站的连接中断",
    refused_role: "拒绝 {text}：您只能查看",
    unanswered: "{text}：测试站没有应答 — 请看工位上的显示",
    done: "工位 {slot}：完成",
    today: "今日",
    runs: "已测",
    first_pass_yield: "一次合格率",
    last_verdicts: "最近十次",
    check_run: "点检",
    name: "姓名",
    password: "密码",
    login: "登录",
    login_title: "登录",
    login_wrong: "姓名或密码不对",
    login_unreachable: "测试站没有应答",
    language: "语言",
  },
  en: {
    title: "Line",
    scan: "Scan",
    scan_hint: "Scan a serial number",
    operator: "Operator",
    operator_none: "not given",
    operator_ask: "Who is the operator?",
    connection: "Connection",
    live: "ok",
    lost: "lost",
    lost_banner: "Connection to the station lost — what is shown below may be out of date",
    records: "Records",
    ok: "ok",
    trouble: "trouble",
    records_banner: "Records cannot be written, no board is taken: {reason}",
    central: "Central database",
    central_off: "off",
    central_connected: "connected",
    central_waiting: "waiting",
    behind: "{count} behind",
    results: "Results",
    report: "Report",
    logout: "Log out",
    idle: "READY",
    waiting: "WAITING FOR BOARD",
    testing: "TESTING",
    locked: "LOCKED",
    passed: "PASS",
    failed: "FAIL",
    error: "ERROR",
    stopped: "STOPPED",
    interrupted: "INTERRUPTED",
    retried: "retried",
    next: "→ NEXT",
    step: "step {number} of {total}",
    attempt: "attempt {number}",
    attempt_of: "attempt {number} of {total}",
    seconds: "{seconds} s",
    outcome_failed: "failed",
    outcome_timed_out: "timed out",
    outcome_broken: "connection broke",
    outcome_stopped: "stopped",
    outcome_interrupted: "interrupted",
    measured: "measured {value}",
    limits: "limits {low} … {high}",
    limit_low: "at least {low}",
    limit_high: "at most {high}",
    not_found: "not found",
    low: "too low",
    high: "too high",
    acknowledge: "Acknowledge",
    acknowledge_needed: "Must be acknowledged",
    question: "Question",
    question_first: "a scanned or typed answer goes here",
    answer: "Answer",
    yes: "Yes",
    no: "No",
    stop: "Stop",
    lock: "Lock",
    unlock: "Unlock",
    release: "Release {serial}",
    release_unit: "Release",
    cancel: "Cancel",
    apply: "OK",
    stop_ask: "Stop the test of {serial} in slot {slot}?",
    lock_ask: "Lock slot {slot}. Reason:",
    unlock_ask: "Unlock slot {slot}. Reason:",
    release_ask: "Let {serial} be tested again. Reason:",
    released: "{serial} is released",
    scan_sent: "{text} …",
    scan_taken: "{text} → slot {slot}",
    scan_done: "{text} ✓",
    next_named: "The next scan → slot {slot}",
    answered: "Slot {slot}: {answer}",
    acknowledged: "Slot {slot} acknowledged",
    acknowledge_none: "No slot waits to be acknowledged",
    acknowledge_several: "Scan acknowledge:SLOT — these slots wait: {slots}",
    question_gone: "The question was over; the answer was not used",
    refused: "Refused {text}: {reason}",
    refused_lost: "Refused {text}: the connection to the station is lost",
    refused_role: "Refused {text}: you may only look",
    unanswered: "{text}: the station did not answer — look at the slots",
    done: "Slot {slot}: done",
    today: "Today",
    runs: "runs",
    first_pass_yield: "first-pass yield",
    last_verdicts: "Last ten",
    check_run: "check",
    name: "Name",
    password: "Password",
    login: "Log in",
    login_title: "Log in",
    login_wrong: "Name or password is wrong",
    login_unreachable: "The station does not answer",
    language: "Language",
  },
};

/// The sign that stands before the word of a verdict, in every language: text, not a picture.
export const signs = { passed: "✓", failed: "✕", error: "!", stopped: "■", interrupted: "?" };

const kRemembered = "language";

function known(language) {
  return Object.hasOwn(words, language) ? language : null;
}

function remembered() {
  try {
    return known(localStorage.getItem(kRemembered));
  } catch {
    return null; // a browser that may keep nothing
  }
}

let chosen = remembered();
let stations = null;

/// The language in which texts are shown: what was chosen in this browser, else the station's, else Chinese.
export function language() {
  return chosen ?? stations ?? "zh";
}

/// Takes a language and remembers it in this browser.
export function choose(language) {
  chosen = known(language) ?? chosen;
  try {
    localStorage.setItem(kRemembered, chosen);
  } catch {
    // it holds as long as the page
  }
}

/// The station's own language, for browsers in which nobody has chosen.
export function stationLanguage(language) {
  stations = known(language) ?? stations;
}

/// Calls back when another tab of this browser has chosen a language.
export function onChosenElsewhere(changed) {
  addEventListener("storage", (event) => {
    if (event.key === kRemembered) {
      chosen = remembered() ?? chosen;
      changed();
    }
  });
}

/// The text of a key in the language shown; {names} in it are replaced by values.
export function word(key, values = {}) {
  const text = words[language()][key] ?? key;
  return text.replace(/\{(\w+)\}/g, (whole, name) => (name in values ? String(values[name]) : whole));
}

/// Writes the texts of all elements that name theirs in the document: data-word, data-hint for a field's hint, and
/// data-label for what a screen reader says.
export function translate(root = document) {
  document.documentElement.lang = language() === "zh" ? "zh-CN" : language();
  for (const element of root.querySelectorAll("[data-word]")) setText(element, word(element.dataset.word));
  for (const [key, attribute] of [["hint", "placeholder"], ["label", "aria-label"]]) {
    for (const element of root.querySelectorAll(`[data-${key}]`)) {
      setAttribute(element, attribute, word(element.dataset[key]));
    }
  }
}

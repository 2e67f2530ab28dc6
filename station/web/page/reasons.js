// The station's own sentences in Chinese. It says its reasons in English, as its logs and records have them; operators
// read them in their language. A star stands for what differs: a serial number, a slot, a number.
const kChinese = await (await fetch("/page/reasons.json")).json();

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

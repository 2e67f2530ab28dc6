// The worker that all tabs of a browser share: one stream for all of them.
import { openSource } from "/page/source.js";

const ports = new Set();
let line = null; // the last document of the connection that is open
let heard = 0;

openSource((told) => {
  if ("line" in told) line = told.line;
  if ("gone" in told) line = null;
  heard = performance.now();
  for (const port of ports) port.postMessage(told);
});

addEventListener("connect", ({ ports: [port] }) => {
  ports.add(port);
  port.onmessage = () => ports.delete(port); // the page's only word is that it closes
  if (line !== null) port.postMessage({ line, age: performance.now() - heard });
});

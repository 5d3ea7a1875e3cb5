// What stands out too little, by WCAG 2 AA: a text 4.5 to 1 from its ground, a large one and a graphic 3 to 1.

/** {text: 4.3} for each one that is seen, by what it is and the colours. */
export function faint(page) {
  return page.evaluate(() => {
    const kGraphics = [
      ['input:not([type=checkbox]), select, textarea', 'borderTopColor'],
      ['.switch i, .now, .key', 'backgroundColor'],
      ['.bar', 'borderTopColor'],
      ['.life rect', 'fill'],
      ['.life line:not(.life-axis), .gauge-part', 'stroke'],
    ];
    const pen = document.createElement('canvas').getContext('2d', {willReadFrequently: true});
    const mix = (over, under, part) => over.map((value, at) => value * part + under[at] * (1 - part));
    const paint = (color, under) => {
      pen.clearRect(0, 0, 1, 1);
      pen.fillStyle = color;
      pen.fillRect(0, 0, 1, 1);
      const [red, green, blue, alpha] = pen.getImageData(0, 0, 1, 1).data;
      return mix([red, green, blue], under, alpha / 255);
    };
    const luminance = color => {
      const [red, green, blue] = color
        .map(value => value / 255)
        .map(value => (value <= 0.04045 ? value / 12.92 : ((value + 0.055) / 1.055) ** 2.4));
      return 0.2126 * red + 0.7152 * green + 0.0722 * blue;
    };
    const ratio = ([one, other]) => {
      const [dark, light] = [luminance(one), luminance(other)].sort((a, b) => a - b);
      return (light + 0.05) / (dark + 0.05);
    };
    const chain = element => (element ? [...chain(element.parentElement), element] : []);
    // What is drawn, and its ground: through the grounds and the opacities of all that it stands in.
    const colors = ([element, ...inner], under, draw) => {
      const style = getComputedStyle(element);
      const own = inner.length > 0 || draw.onGround ? paint(style.backgroundColor, under) : under;
      const found = inner.length > 0 ? colors(inner, own, draw) : [paint(draw.color(style), own), own];
      return found.map(color => mix(color, under, Number(style.opacity)));
    };
    const white = [255, 255, 255];
    const found = {};
    const look = (element, what, least, draw) => {
      if (element.matches(':disabled, :disabled *') || !element.checkVisibility()) return;
      const {width, height} = element.getBoundingClientRect();
      const pair = colors(chain(element), white, draw);
      if (width * height === 0 || ratio(pair) >= least) return;
      const [drawn, ground] = pair.map(color => color.map(Math.round).join(','));
      found[`${what}: ${drawn} on ${ground}`] = Number(ratio(pair).toFixed(2));
    };
    const named = element => `${element.tagName.toLowerCase()}.${element.getAttribute('class') ?? ''}`;
    const leastOf = element => {
      const {fontSize, fontWeight} = getComputedStyle(element);
      const size = parseFloat(fontSize);
      return size >= 24 || (size >= 18.66 && fontWeight >= 700) ? 3 : 4.5;
    };
    const texts = document.createTreeWalker(document.body, NodeFilter.SHOW_TEXT);
    while (texts.nextNode()) {
      const {data, parentElement} = texts.currentNode;
      if (!data.trim()) continue;
      const drawing = parentElement instanceof SVGElement;
      look(parentElement, `"${data.trim().slice(0, 30)}" in ${named(parentElement)}`, leastOf(parentElement), {
        onGround: true,
        color: style => (drawing ? style.fill : style.color),
      });
    }
    for (const input of document.querySelectorAll('input[placeholder]')) {
      const {color, opacity} = getComputedStyle(input, '::placeholder');
      const clear = color.replace(/rgb\((.*)\)/, `rgba($1, ${opacity})`);
      look(input, `placeholder "${input.placeholder}"`, 4.5, {onGround: true, color: () => clear});
    }
    for (const [selector, property] of kGraphics)
      for (const graphic of document.querySelectorAll(selector))
        look(graphic, `${property} of ${named(graphic)}`, 3, {onGround: false, color: style => style[property]});
    return found;
  });
}

// As much of a browser's document as the page of the text's search uses.
function element() {
    return {
        textContent: "", children: [],
        appendChild: function (child) { this.children.push(child); return child; },
        addEventListener: function (event, act) { this.act = act; }
    };
}

var elements = {};
var document = {
    getElementById: function (id) { return elements[id] = elements[id] || element(); },
    createElement: element
};
